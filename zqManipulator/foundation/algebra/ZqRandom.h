#pragma once

#include "zqManipulator/foundation/algebra/ZqVector.h"

#include <initializer_list>
#include <memory>

/// Random numbers from the Mersenne twister MT19937.
///
/// The stream of a seed is the same, to the last bit, on every platform: nothing but sums, products, quotients
/// and square roots goes into it, which IEEE 754 rounds in one way, and neither the C library nor the version of
/// Boost has a say. Each thread draws from a generator of its own, all of which start from the same seed: threads
/// that share work want a `setSeed` or a `Stream` each.
class ZqRandom
{
public:
   static constexpr ZqU32 defaultSeed = 5489;

   /// As long as this lives, the calling thread draws from a stream that follows from a key of a few numbers
   /// alone, such as a seed and the number of a sample. Then it goes on where it was: who draws inside neither
   /// depends on what was drawn outside nor disturbs it. Of several the innermost is drawn from. It ends in
   /// the thread that made it, the innermost first.
   class Stream
   {
   public:
      Stream(std::initializer_list<ZqU32> key);
      Stream(const Stream&) = delete;
      Stream& operator=(const Stream&) = delete;
      ~Stream();

   private:
      friend class ZqRandom;
      struct Engine;
      std::unique_ptr<Engine> m_engine;
      Stream* m_outer;
   };

   /// Starts the stream of the calling thread anew: the innermost, if there is a `Stream`.
   static void setSeed(ZqU32 seed);

   /// A number of the normal distribution; the mean itself for sigma 0.
   static ZqReal normalRandom(ZqReal mean, ZqReal sigma);
   /// A number in [low, high), with 53 random bits; rounding of the sum may give `high` itself.
   static ZqReal uniformRandom(ZqReal low, ZqReal high);
   /// A direction, uniform over the unit sphere.
   static ZqVector randomUnitVector();

   /// A number that is folded back, as a strip of paper, at the end of [low, high] that it crossed, and at the other
   /// if need be, until it lies in it; one that does stays. A symmetric distribution keeps a mean in the middle.
   static ZqReal folded(ZqReal value, ZqReal low, ZqReal high);
};
