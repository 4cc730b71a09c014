#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionAlgebra.h"

/// Packs of numbers: a scalar of the sweeps that stands for N states (or N directions) at once. They are the
/// compiler's own vectors, so that + - * / < and a product with a real number go lane by lane, each rounded
/// as the single number would be: the bits of a lane depend neither on N nor on the other lanes.
namespace zqMotion
{
template <int N>
struct PackOf
{
   typedef ZqReal Type __attribute__((vector_size(N * sizeof(ZqReal))));
};
template <int N>
using Pack = typename PackOf<N>::Type;

/// What comparisons of packs give: in each lane all bits or none.
template <class P>
using PackBits = decltype(P{} < P{});

/// Whether T is a pack.
template <class T>
concept IsPack = requires(T pack)
{
   pack[0];
};

template <class P>
inline constexpr int laneCount = sizeof(P) / sizeof(ZqReal);

inline namespace ZQ_MOTION_TARGET
{
template <IsPack P>
struct Constant<P>
{
   // Subtracting zero keeps the sign of a zero.
   ZQ_MOTION_INLINE static P of(ZqReal x) { return x - P{}; }
};

/// The lanes from consecutive numbers, and into such: they need no alignment.
template <class P>
ZQ_MOTION_INLINE P loadPack(const ZqReal* numbers)
{
   P pack;
   __builtin_memcpy(&pack, numbers, sizeof pack);
   return pack;
}
template <class P>
ZQ_MOTION_INLINE void storePack(ZqReal* numbers, const P& pack)
{
   __builtin_memcpy(numbers, &pack, sizeof pack);
}

/// a where the bits are set, b elsewhere.
template <class P>
ZQ_MOTION_INLINE P choose(const PackBits<P>& bits, const P& a, const P& b)
{
   return bits ? a : b;
}

template <class Bits>
ZQ_MOTION_INLINE bool areAllSet(const Bits& bits)
{
   auto all = bits[0];
   for (unsigned lane = 1; lane < sizeof(Bits) / sizeof(bits[0]); ++lane)
      all &= bits[lane];
   return all != 0;
}

/// 1 / d, and zero where d is zero: the acceleration of a joint that nothing resists counts as none.
ZQ_MOTION_INLINE ZqReal inverseOrZero(ZqReal d)
{
   return d != 0.0 ? 1.0 / d : 0.0;
}
template <IsPack P>
ZQ_MOTION_INLINE P inverseOrZero(const P& d)
{
   return choose<P>(d == 0.0, P{}, 1.0 / d);
}
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
