#pragma once

#include "zqManipulator/foundation/algebra/ZqVector.h"

/// Random numbers from the Mersenne twister MT19937.
///
/// The stream of a seed is the same on every platform. Each thread draws from a generator of its
/// own, all of which start from the same seed: threads that share work want a `setSeed` each.
class ZqRandom
{
public:
   static constexpr ZqU32 defaultSeed = 5489;

   /// Starts the stream of the calling thread anew.
   static void setSeed(ZqU32 seed);

   /// A number of the normal distribution; the mean itself for sigma 0.
   static ZqReal normalRandom(ZqReal mean, ZqReal sigma);
   /// A number in [low, high), with 53 random bits.
   static ZqReal uniformRandom(ZqReal low, ZqReal high);
   /// A direction, uniform over the unit sphere.
   static ZqVector randomUnitVector();
};
