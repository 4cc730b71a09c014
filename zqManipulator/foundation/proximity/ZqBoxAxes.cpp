#include "zqManipulator/foundation/proximity/ZqCorePair.h"

#include <limits>

// The axes that may part two boxes (Gottschalk, Lin and Manocha 1996): the normals of their faces, and the
// cross products of their edges. The separation along an axis is taken for the very unit vector that is
// answered, so that nearly parallel edges cost accuracy of the axis, but never a wrong depth.
namespace zqConvex
{
namespace
{
struct BoxPair
{
   ZqReal h[3], k[3]; ///< half extents
   ZqReal t[3], s[3]; ///< from the middle of A to that of B, along the axes of A and of B
   ZqReal r[3][3];    ///< axis i of A . axis j of B
   ZqReal q[3][3];    ///< magnitudes of r

   explicit BoxPair(const CorePair& pair) noexcept
      : h{pair.A.h.x, pair.A.h.y, pair.A.h.z}, k{pair.B.h.x, pair.B.h.y, pair.B.h.z},
        t{pair.X.t.x, pair.X.t.y, pair.X.t.z}, s{dot(pair.X.R.c0, pair.X.t),
                                                 dot(pair.X.R.c1, pair.X.t),
                                                 dot(pair.X.R.c2, pair.X.t)}
   {
      const Mat3& R = pair.X.R;
      const ZqReal rows[3][3] = {
         {R.c0.x, R.c1.x, R.c2.x}, {R.c0.y, R.c1.y, R.c2.y}, {R.c0.z, R.c1.z, R.c2.z}};
      for (int i = 0; i < 3; ++i)
         for (int j = 0; j < 3; ++j)
         {
            r[i][j] = rows[i][j];
            q[i][j] = std::abs(rows[i][j]);
         }
   }

   /// The least depth along a normal of a face, and which one: 0 to 2 of A, 3 to 5 of B.
   ZqReal alongFaces(int& face) const noexcept
   {
      ZqReal best = std::numeric_limits<ZqReal>::infinity();
      for (int i = 0; i < 3; ++i)
      {
         const ZqReal depth =
            h[i] + q[i][0] * k[0] + q[i][1] * k[1] + q[i][2] * k[2] - std::abs(t[i]);
         if (depth < best)
         {
            best = depth;
            face = i;
         }
      }
      for (int j = 0; j < 3; ++j)
      {
         const ZqReal depth =
            k[j] + q[0][j] * h[0] + q[1][j] * h[1] + q[2][j] * h[2] - std::abs(s[j]);
         if (depth < best)
         {
            best = depth;
            face = 3 + j;
         }
      }
      return best;
   }

   /// The axis across edge i of A and edge j of B, towards B, and the depth along it; false if it is not
   /// below `bound`.
   bool alongEdges(const CorePair& pair, int i, int j, ZqReal bound, Vec3& n,
                   ZqReal& depth) const noexcept
   {
      const int i1 = (i + 1) % 3;
      const int i2 = (i + 2) % 3;
      const int j1 = (j + 1) % 3;
      const int j2 = (j + 2) % 3;
      const ZqReal sine2 = r[i1][j] * r[i1][j] + r[i2][j] * r[i2][j];
      if (sine2 < 1e-28)
         return false;
      // The cross product has the coordinates (0, -r[i2][j], r[i1][j]) along axes i, i1 and i2 of A, and
      // (0, r[i][j2], -r[i][j1]) along j, j1 and j2 of B.
      const ZqReal scaled = h[i1] * q[i2][j] + h[i2] * q[i1][j] + k[j1] * q[i][j2] +
                            k[j2] * q[i][j1] - std::abs(r[i1][j] * t[i2] - r[i2][j] * t[i1]);
      if (!(scaled < 0.0) && bound > 0.0 && scaled * scaled >= bound * bound * sine2)
         return false;
      const ZqReal f = 1.0 / std::sqrt(sine2);
      n = {0.0, 0.0, 0.0};
      n[i1] = -r[i2][j] * f;
      n[i2] = r[i1][j] * f;
      if (dot(n, pair.X.t) < 0.0)
         n = -n;
      const Vec3 m = turnBack(pair.X.R, n);
      depth = h[0] * std::abs(n.x) + h[1] * std::abs(n.y) + h[2] * std::abs(n.z) +
              k[0] * std::abs(m.x) + k[1] * std::abs(m.y) + k[2] * std::abs(m.z) - dot(n, pair.X.t);
      return depth < bound;
   }
};
} // namespace

ZqReal separatingAxis(const CorePair& pair, Vec3& axis) noexcept
{
   const BoxPair boxes(pair);
   int face = 0;
   const ZqReal alongFaces = boxes.alongFaces(face);
   ZqReal best = alongFaces - 1e-11 * pair.size();
   bool isEdge = false;
   for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j)
      {
         Vec3 n;
         ZqReal depth;
         if (boxes.h[i] == 0.0 || boxes.k[j] == 0.0 ||
             !boxes.alongEdges(pair, i, j, best, n, depth))
            continue;
         best = depth;
         axis = n;
         isEdge = true;
      }
   if (isEdge)
      return -best;
   if (face < 3)
   {
      axis = {0.0, 0.0, 0.0};
      axis[face] = boxes.t[face] < 0.0 ? -1.0 : 1.0;
   }
   else
      axis = pair.X.R.column(face - 3) * (boxes.s[face - 3] < 0.0 ? -1.0 : 1.0);
   return -alongFaces;
}
} // namespace zqConvex
