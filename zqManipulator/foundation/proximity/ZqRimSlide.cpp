#include "zqManipulator/foundation/proximity/ZqRimSlide.h"

namespace zqConvex
{
namespace
{
/// Up to two orthonormal directions that a flat feature spans.
struct FlatSpan
{
   Vec3 e[2];
   int dimension = 0;

   /// v without its part in the span.
   Vec3 across(Vec3 v) const noexcept
   {
      for (int i = 0; i < dimension; ++i)
         v = v - e[i] * dot(e[i], v);
      return v;
   }
   /// False if d would be a third dimension.
   bool add(const Vec3& d) noexcept
   {
      const Vec3 rest = across(d);
      const ZqReal left = norm2(rest);
      if (!(left > 1e-12 * norm2(d)))
         return true;
      if (dimension == 2)
         return false;
      e[dimension++] = rest * (1.0 / std::sqrt(left));
      return true;
   }
};

/// A direction in the plane of the rims.
struct Azimuth
{
   ZqReal x, y;

   bool normalise() noexcept
   {
      const ZqReal length = std::sqrt(x * x + y * y);
      if (!(length > 0.0))
         return false;
      x /= length;
      y /= length;
      return true;
   }
};

ZqReal rimRadius(const ZqConvex& T, const Vec3& p) noexcept
{
   return p.z > 0.0 ? T.h.y : T.h.x;
}

/// The mean azimuth of points on the rims; false if they lie too far from it.
bool meanAzimuth(const ZqConvex& T, const Vec3* t, const ZqReal* weight, int count,
                 Azimuth& u) noexcept
{
   u = {0.0, 0.0};
   for (int i = 0; i < count; ++i)
   {
      u.x += t[i].x * weight[i];
      u.y += t[i].y * weight[i];
   }
   if (!u.normalise())
      return false;
   for (int i = 0; i < count; ++i)
   {
      const ZqReal R = rimRadius(T, t[i]);
      if (!(t[i].x * u.x + t[i].y * u.y >= 0.8 * R) || !(R > 0.0))
         return false;
   }
   return true;
}

/// The azimuth at which the rim of radius R in the plane of z is nearest the span through `other`, by Newton's
/// method from the one given.
bool nearestAzimuth(ZqReal R, ZqReal z, const Vec3& other, const FlatSpan& span,
                    Azimuth& u) noexcept
{
   for (int k = 0; k < 3; ++k)
   {
      const Vec3 tangent = {-R * u.y, R * u.x, 0.0};
      const Vec3 gap = span.across(Vec3{R * u.x, R * u.y, z} - other);
      const ZqReal slope = dot(gap, tangent);
      const ZqReal bend = dot(span.across(tangent), tangent) - R * (gap.x * u.x + gap.y * u.y);
      if (!(bend > 0.0))
         return false;
      const ZqReal step = std::clamp(-slope / bend, -0.5, 0.5);
      u = {u.x - step * u.y, u.y + step * u.x};
      u.normalise();
      if (std::abs(step) < 1e-9)
         break;
   }
   return true;
}

/// All in the frame of the turned core: its points t, and the other side's.
bool slideOnRim(const ZqConvex& T, Vec3* t, const Vec3* other, const ZqReal* weight,
                int count) noexcept
{
   Azimuth u;
   if (!meanAzimuth(T, t, weight, count, u))
      return false;
   FlatSpan span;
   bool onBothRims = false;
   for (int i = 1; i < count; ++i)
   {
      onBothRims |= (t[i].z > 0.0) != (t[0].z > 0.0);
      if (!span.add(other[i] - other[0]))
         return false;
   }
   const ZqReal widening = T.h.y - T.h.x;
   if (onBothRims && !span.add({widening * u.x, widening * u.y, 2.0 * T.h.z}))
      return false;
   if (!nearestAzimuth(rimRadius(T, t[0]), t[0].z, other[0], span, u))
      return false;
   for (int i = 0; i < count; ++i)
   {
      const ZqReal R = rimRadius(T, t[i]);
      t[i].x = R * u.x;
      t[i].y = R * u.y;
   }
   return true;
}

bool slideOnRimOfB(const CorePair& pair, Simplex& S) noexcept
{
   Vec3 t[4], other[4];
   for (int i = 0; i < S.count; ++i)
   {
      t[i] = inverseTimes(pair.X, S.b[i]);
      other[i] = inverseTimes(pair.X, S.a[i]);
   }
   if (!slideOnRim(pair.B, t, other, S.weight, S.count))
      return false;
   for (int i = 0; i < S.count; ++i)
      S.b[i] = pair.X * t[i];
   return true;
}
} // namespace

bool slideOnRims(const CorePair& pair, Simplex& S) noexcept
{
   bool slid = false;
   if (pair.A.core == ZqConvex::Core::Turned)
      slid |= slideOnRim(pair.A, S.a, S.b, S.weight, S.count);
   if (pair.B.core == ZqConvex::Core::Turned)
      slid |= slideOnRimOfB(pair, S);
   if (!slid)
      return false;
   const int count = S.count;
   S.count = 0;
   for (int i = 0; i < count; ++i)
   {
      const Vec3 w = S.a[i] - S.b[i];
      bool isTwin = false;
      for (int k = 0; k < S.count; ++k)
         isTwin |= largest(w - S.w[k]) <= 1e-15 * pair.size();
      if (!isTwin)
         S.set(S.count++, S.a[i], S.b[i]);
   }
   return true;
}
} // namespace zqConvex
