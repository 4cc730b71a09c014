#include "zqManipulator/foundation/algebra/ZqRandom.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"

#include <boost/random/generate_canonical.hpp>
#include <boost/random/mersenne_twister.hpp>
#include <boost/random/normal_distribution.hpp>

namespace
{
boost::random::mt19937& generator()
{
   thread_local boost::random::mt19937 theGenerator(ZqRandom::defaultSeed);
   return theGenerator;
}
} // namespace

void ZqRandom::setSeed(ZqU32 seed)
{
   generator().seed(seed);
}

ZqReal ZqRandom::normalRandom(ZqReal mean, ZqReal sigma)
{
   boost::random::normal_distribution<ZqReal> standardNormal;
   return mean + sigma * standardNormal(generator());
}

ZqReal ZqRandom::uniformRandom(ZqReal low, ZqReal high)
{
   return low + (high - low) * boost::random::generate_canonical<ZqReal, 53>(generator());
}

ZqVector ZqRandom::randomUnitVector()
{
   // The height on the sphere is uniform (Archimedes).
   const ZqReal z = uniformRandom(-1.0, 1.0);
   const ZqReal longitude = uniformRandom(-ZqMath::pi, ZqMath::pi);
   const ZqReal radius = ZqMath::sqrt((1.0 - z) * (1.0 + z));
   const ZqMath::CosineSine around = ZqMath::cosineSine(longitude);
   return {radius * around.cosine, radius * around.sine, z};
}
