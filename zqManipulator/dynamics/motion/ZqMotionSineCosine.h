#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionPack.h"

/// Sine and cosine without branches and without the C library: compiled without contraction, the bits are the
/// same on every processor, in each lane of a pack as for a single number.
///
/// Sine and cosine err by less than 0.9 units in the last place, for angles of any size.
///
/// An angle x (rad) is reduced to r in [-pi/4, pi/4] and a number k of right angles, x = k pi/2 + r (Cody and
/// Waite 1980; Payne and Hanek 1983 for far angles), r to twice the precision; sine and cosine of r are
/// polynomials. The sine and cosine of an angle that is not finite are NaN.
namespace zqMotion
{
template <class T>
struct CosineSine
{
   T c, s;
};

/// x = k pi/2 + (r + tail), in the lanes of a pack.
template <class P>
struct ReducedAngle
{
   P r, tail;
   PackBits<P> k; ///< only the last two bits count
};

inline namespace ZQ_MOTION_TARGET
{
/// Beyond this angle (rad), k times the parts of pi/2 below is not exact.
inline constexpr ZqReal farAngle = 50000.0;

/// A single angle from `farAngle` on, by integers. The binary digits of 2/pi that give multiples of four
/// right angles are left out; of the others 192 are used, so that the error is below 2^-137 right angles,
/// while no number is nearer than 2^-62 to a multiple of a right angle.
[[gnu::noinline, gnu::cold]] inline void reduceFarAngle(ZqReal x, ZqReal& r, ZqReal& tail,
                                                        unsigned& k)
{
   using Word = unsigned long long;
   __extension__ using Double = unsigned __int128;
   // 2/pi, the first word before the point.
   static constexpr Word digits[] = {0x0000000000000000, 0xa2f9836e4e441529, 0xfc2757d1f534ddc0,
                                     0xdb6295993c439041, 0xfe5163abdebbc561, 0xb7246e3a424dd2e0,
                                     0x06492eea09d1921c, 0xfe1deb1cb129a73e, 0xe88235f52ebb4484,
                                     0xe99c7026b45f7e41, 0x3991d639835339f4, 0x9c845f8bbdf9283b,
                                     0x1ff897ffde05980f, 0xef2f118b5a0a6d1f, 0x6d367ecf27cb09b7,
                                     0x4f463f669e5fea2d, 0x7527bac7ebe5f17b, 0x3d0739f78a5292ea,
                                     0x6bfb5fb11f8d5d08, 0x56033046fc7b6bab, 0xf0cfbc209af4361d};
   constexpr Word halfPi = 0xc90fdaa22168c235; // times 2^63

   const Word bits = __builtin_bit_cast(Word, x);
   const int exponent = static_cast<int>(bits >> 52 & 0x7ff);
   if (exponent == 0x7ff)
   {
      r = tail = x - x; // NaN
      k = 0;
      return;
   }
   // |x| = mantissa 2^(exponent - 1075): the digit of weight two, in right angles, comes first.
   const Word mantissa = (bits & 0xfffffffffffff) | Word{1} << 52;
   const int first = exponent - 1075 - 2 + 64;
   Word window[3];
   for (int i = 0; i < 3; ++i)
   {
      const Word* const at = digits + first / 64 + i;
      window[i] = first % 64 == 0 ? at[0] : at[0] << first % 64 | at[1] >> (64 - first % 64);
   }
   const Double low = static_cast<Double>(mantissa) * window[2];
   const Double middle = static_cast<Double>(mantissa) * window[1] + (low >> 64);
   const Word high = mantissa * window[0] + static_cast<Word>(middle >> 64);
   const Word mid = static_cast<Word>(middle);

   // The two bits before the point count right angles; the rest is a fraction of one, at most a half.
   k = static_cast<unsigned>(high >> 62);
   Double fraction = static_cast<Double>(high << 2 | mid >> 62) << 64 |
                     static_cast<Double>(mid << 2 | static_cast<Word>(low) >> 62);
   bool isNegative = x < 0.0;
   if (fraction >> 127)
   {
      fraction = -fraction;
      isNegative = !isNegative;
      ++k;
   }
   k = x < 0.0 ? -k : k;
   int shift = 0;
   for (; shift < 127 && !(fraction >> 127); ++shift)
      fraction <<= 1;
   // In radians: two numbers of 53 bits.
   const Double product = (fraction >> 64) * halfPi;
   const ZqReal unit = __builtin_bit_cast(ZqReal, static_cast<Word>(1023 - 52 - shift) << 52);
   const ZqReal sign = isNegative ? -unit : unit;
   r = sign * static_cast<ZqReal>(static_cast<Word>(product >> 75));
   const Word rest = static_cast<Word>(product >> 22) & ((Word{1} << 53) - 1);
   tail = sign * 0x1p-53 * static_cast<ZqReal>(rest);
}

template <class P>
[[gnu::noinline, gnu::cold]] inline void reduceFarLanes(const P& x, ReducedAngle<P>& reduced)
{
   for (int lane = 0; lane < laneCount<P>; ++lane)
   {
      if (!(__builtin_fabs(x[lane]) < farAngle))
      {
         ZqReal r, tail;
         unsigned k;
         reduceFarAngle(x[lane], r, tail, k);
         reduced.r[lane] = r;
         reduced.tail[lane] = tail;
         reduced.k[lane] = k;
      }
   }
}

/// The lanes whose angles are not far.
template <class P>
ZQ_MOTION_INLINE PackBits<P> isNear(const P& x)
{
   return (x < farAngle) & (x > -farAngle);
}

template <class P>
ZQ_MOTION_INLINE ReducedAngle<P> reduceNearAngle(const P& x)
{
   // pi/2 in three parts, the first two of 38 bits: k has 15, so that the products are exact.
   constexpr ZqReal halfPi1 = 0x1.921fb54440000p+0;
   constexpr ZqReal halfPi2 = 0x1.68c234c4c0000p-39;
   constexpr ZqReal halfPi3 = 0x1.98a2e03707345p-77;
   constexpr ZqReal twoOverPi = 0x1.45f306dc9c883p-1;
   // Adding it leaves the nearest whole number in the last bits.
   constexpr ZqReal shift = 0x1.8p+52;

   const P shifted = x * twoOverPi + shift;
   const P k = shifted - shift;
   const P x1 = x - k * halfPi1; // exact
   const P x2 = k * halfPi2;
   const P r = x1 - x2;
   return {r, ((x1 - r) - x2) - k * halfPi3, (PackBits<P>)shifted};
}

template <class P>
ZQ_MOTION_INLINE ReducedAngle<P> reduceAngle(const P& x)
{
   ReducedAngle<P> reduced = reduceNearAngle(x);
   if (!areAllSet(isNear(x))) [[unlikely]]
      reduceFarLanes(x, reduced);
   return reduced;
}

/// Of six coefficients, the constant first, by pairs (Estrin 1960): a pack has to wait for half of the sums that
/// it waits for by Horner's scheme.
template <class P>
ZQ_MOTION_INLINE P polynomial(const P& z, const P& zz, const ZqReal (&c)[6])
{
   return (z * c[1] + c[0]) + zz * ((z * c[3] + c[2]) + zz * (z * c[5] + c[4]));
}

/// Of an angle in [-pi/4, pi/4], by the polynomials r + r^3 S(r^2) and 1 - r^2/2 + r^4 C(r^2) of least greatest
/// error, which is 2^-57 of the sine and 2^-63 of the cosine.
template <class P>
ZQ_MOTION_INLINE CosineSine<P> cosineSineOfReduced(const ReducedAngle<P>& angle)
{
   constexpr ZqReal S[] = {-0x1.5555555555549p-3, 0x1.111111110f8b8p-7,   -0x1.a01a019c19a59p-13,
                           0x1.71de357ef2521p-19, -0x1.ae5e6c118f3e5p-26, 0x1.5d94be2f83588p-33};
   constexpr ZqReal C[] = {0x1.555555555554cp-5,   -0x1.6c16c16c1524cp-10, 0x1.a01a019cc705ap-16,
                           -0x1.27e4f81a155a4p-22, 0x1.1ee9f761005b1p-29,  -0x1.8fb4cb09ca12fp-37};
   const P r = angle.r;
   const P z = r * r;
   const P zz = z * z;
   const P sineTail = polynomial(z, zz, S);
   const P cosineTail = polynomial(z, zz, C);
   const P half = 0.5 * z;
   const P leading = 1.0 - half;
   CosineSine<P> result;
   result.s = r + (angle.tail * leading + (r * z) * sineTail);
   result.c = leading + (((1.0 - leading) - half) + (zz * cosineTail - r * angle.tail));
   return result;
}

/// Of an angle (rad), lane by lane.
template <IsPack P>
ZQ_MOTION_INLINE CosineSine<P> cosineSine(const P& x)
{
   using Bits = PackBits<P>;
   const ReducedAngle<P> angle = reduceAngle(x);
   const CosineSine<P> reduced = cosineSineOfReduced(angle);
   const Bits isOdd = -(angle.k & 1);
   const P c = choose<P>(isOdd, reduced.s, reduced.c);
   const P s = choose<P>(isOdd, reduced.c, reduced.s);
   return {(P)((Bits)c ^ (((angle.k + 1) & 2) << 62)), (P)((Bits)s ^ ((angle.k & 2) << 62))};
}

/// Of half the angle that was reduced.
template <class P>
ZQ_MOTION_INLINE CosineSine<P> halfCosineSineOf(const ReducedAngle<P>& half)
{
   const CosineSine<P> reduced = cosineSineOfReduced(half);
   const PackBits<P> isOdd = -(half.k & 1);
   return {choose<P>(isOdd, -reduced.s, reduced.c), choose<P>(isOdd, reduced.c, reduced.s)};
}

/// Of half an angle (rad), lane by lane; of the two signs that the pair may have as a quaternion, that in which
/// the larger one is positive (either where the two are as large to 1e-11).
template <IsPack P>
ZQ_MOTION_INLINE CosineSine<P> halfCosineSine(const P& x)
{
   return halfCosineSineOf(reduceAngle<P>(x * 0.5));
}

/// The same for a single angle.
ZQ_MOTION_INLINE CosineSine<ZqReal> cosineSine(ZqReal x)
{
   const CosineSine<Pack<2>> pair = cosineSine(Pack<2>{x, 0.0});
   return {pair.c[0], pair.s[0]};
}
ZQ_MOTION_INLINE CosineSine<ZqReal> halfCosineSine(ZqReal x)
{
   const CosineSine<Pack<2>> pair = halfCosineSine(Pack<2>{x, 0.0});
   return {pair.c[0], pair.s[0]};
}

/// Of half the angles of n packs. All are taken for near ones first, and computed again if one is not.
template <IsPack P>
ZQ_MOTION_INLINE void halfCosineSines(const P* q, int n, P* cosines, P* sines)
{
   PackBits<P> areNear = ~PackBits<P>{};
   for (int i = 0; i < n; ++i)
   {
      const P half = q[i] * 0.5;
      areNear &= isNear(half);
      const CosineSine<P> result = halfCosineSineOf(reduceNearAngle(half));
      cosines[i] = result.c;
      sines[i] = result.s;
   }
   if (areAllSet(areNear)) [[likely]]
      return;
   for (int i = 0; i < n; ++i)
   {
      const CosineSine<P> result = halfCosineSine(q[i]);
      cosines[i] = result.c;
      sines[i] = result.s;
   }
}

/// Of half of n angles, two at a time: exactly n numbers are read and written each.
ZQ_MOTION_INLINE void halfCosineSines(const ZqReal* q, int n, ZqReal* cosines, ZqReal* sines)
{
   int i = 0;
   for (; i + 2 <= n; i += 2)
   {
      const CosineSine<Pack<2>> pair = halfCosineSine(loadPack<Pack<2>>(q + i));
      storePack(cosines + i, pair.c);
      storePack(sines + i, pair.s);
   }
   if (i < n)
   {
      const CosineSine<ZqReal> last = halfCosineSine(q[i]);
      cosines[i] = last.c;
      sines[i] = last.s;
   }
}
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
