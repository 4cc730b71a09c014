#include "zqManipulator/foundation/algebra/ZqRandom.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"

#include <boost/random/generate_canonical.hpp>
#include <boost/random/mersenne_twister.hpp>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

namespace
{
thread_local ZqRandom::Stream* theInnermostStream = nullptr;

boost::random::mt19937& generatorOfThread()
{
   thread_local boost::random::mt19937 theGenerator(ZqRandom::defaultSeed);
   return theGenerator;
}

/// The natural logarithm of a positive number, to within two units in the last place: by the series of the inverse
/// hyperbolic tangent, of which thirteen terms are enough for what the halving of the number leaves.
ZqReal logarithm(ZqReal x)
{
   int exponent = 0;
   ZqReal fraction = std::frexp(x, &exponent); // exact
   if (fraction < 1.0 / std::numbers::sqrt2)
   {
      fraction *= 2.0;
      --exponent;
   }
   const ZqReal t = (fraction - 1.0) / (fraction + 1.0);
   ZqReal series = 0.0;
   for (int k = 12; k >= 0; --k)
      series = series * (t * t) + 1.0 / (2 * k + 1);
   return exponent * std::numbers::ln2 + 2.0 * t * series;
}
} // namespace

struct ZqRandom::Stream::Engine
{
   static boost::random::mt19937& current()
   {
      return theInnermostStream != nullptr ? theInnermostStream->m_engine->generator
                                           : generatorOfThread();
   }

   boost::random::mt19937 generator;
};

ZqRandom::Stream::Stream(std::initializer_list<ZqU32> key)
   : m_engine(std::make_unique<Engine>()), m_outer(theInnermostStream)
{
   std::seed_seq seeds(key); // of which the standard tells every bit
   m_engine->generator.seed(seeds);
   theInnermostStream = this;
}

ZqRandom::Stream::~Stream()
{
   theInnermostStream = m_outer;
}

void ZqRandom::setSeed(ZqU32 seed)
{
   Stream::Engine::current().seed(seed);
}

ZqReal ZqRandom::normalRandom(ZqReal mean, ZqReal sigma)
{
   // The polar method (Marsaglia and Bray 1964). The second number that it has is left, so that a draw follows
   // from the state of the generator alone.
   ZqReal x = 0.0;
   ZqReal square = 0.0;
   do
   {
      x = uniformRandom(-1.0, 1.0);
      const ZqReal y = uniformRandom(-1.0, 1.0);
      square = x * x + y * y;
   } while (square >= 1.0 || square == 0.0);
   const ZqReal normal = x * std::sqrt(-2.0 * logarithm(square) / square);
   return sigma == 0.0 ? mean : mean + sigma * normal;
}

ZqReal ZqRandom::uniformRandom(ZqReal low, ZqReal high)
{
   return low +
          (high - low) * boost::random::generate_canonical<ZqReal, 53>(Stream::Engine::current());
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

ZqReal ZqRandom::folded(ZqReal value, ZqReal low, ZqReal high)
{
   if (value >= low && value <= high)
      return value;
   if (!(low < high))
      return low;
   // At the end that was crossed; the other one may be too far away for a period to have digits.
   const ZqReal reflected = value > high ? high - (value - high) : low + (low - value);
   if (reflected >= low && reflected <= high)
      return reflected;
   // The remainder is exact; the sum may be rounded beyond the end.
   const ZqReal period = 2.0 * (high - low);
   return std::clamp(low + std::abs(std::remainder(value - low, period)), low, high);
}
