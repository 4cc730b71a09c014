#include "zqManipulator/foundation/proximity/ZqBalance.h"

namespace zqConvex
{
namespace
{
/// A symmetric matrix over the tangents of the direction.
struct Bend
{
   ZqReal ee = 0.0, ef = 0.0, ff = 0.0;

   void add(ZqReal factor, ZqReal e, ZqReal f) noexcept
   {
      ee += factor * e * e;
      ef += factor * e * f;
      ff += factor * f * f;
   }
};

/// One side of a feature, in the frame of its core.
struct Feature
{
   enum class Kind : std::uint8_t
   {
      Vertex,
      Rim,
      Surface
   };
   Kind kind = Kind::Vertex;
   Vec3 p; ///< the vertex; radius, 0 and height of a rim; semi-axes

   Feature() = default;
   Feature(const ZqConvex& C, const Vec3& point) noexcept : kind(Kind::Vertex), p(point)
   {
      if (C.core == ZqConvex::Core::Ellipsoid)
      {
         kind = Kind::Surface;
         p = C.h;
      }
      else if (C.core == ZqConvex::Core::Turned)
      {
         p = point.z > 0.0 ? Vec3{C.h.y, 0.0, C.h.z} : Vec3{C.h.x, 0.0, -C.h.z};
         if (p.x > 0.0)
            kind = Kind::Rim;
      }
   }
   bool isSame(const Feature& other, ZqReal rounding) const noexcept
   {
      return kind == other.kind && largest(p - other.p) <= rounding;
   }

   /// The point furthest along d, which is unit, and what its bend needs: the radius of a rim over its part
   /// of d, or one over the height of a surface. False along the axis of a rim.
   bool furthest(const Vec3& d, Vec3& point, ZqReal& scale) const noexcept
   {
      scale = 0.0;
      point = p;
      if (kind == Kind::Rim)
      {
         const ZqReal rho = std::sqrt(d.x * d.x + d.y * d.y);
         if (!(rho > 1e-12))
            return false;
         scale = p.x / rho;
         point = {d.x * scale, d.y * scale, p.z};
      }
      else if (kind == Kind::Surface)
      {
         const Vec3 g{p.x * d.x, p.y * d.y, p.z * d.z};
         scale = 1.0 / norm(g);
         point = {p.x * g.x * scale, p.y * g.y * scale, p.z * g.z * scale};
      }
      return true;
   }
   /// Adds the second derivative of the height over the tangents e and f, times a weight.
   void bend(const Vec3& point, ZqReal scale, const Vec3& e, const Vec3& f, ZqReal weight,
             Bend& sum) const noexcept
   {
      if (kind == Kind::Rim) // along the rim's tangent alone
         sum.add(weight * scale / (p.x * p.x), e.y * point.x - e.x * point.y,
                 f.y * point.x - f.x * point.y);
      else if (kind == Kind::Surface)
      {
         const ZqReal factor = weight * scale;
         sum.add(factor * p.x * p.x, e.x, f.x);
         sum.add(factor * p.y * p.y, e.y, f.y);
         sum.add(factor * p.z * p.z, e.z, f.z);
         sum.add(-factor, dot(e, point), dot(f, point));
      }
   }
};

/// Two unit vectors that make a right-handed frame with the unit vector n (Duff et al. 2017).
void tangentsOf(const Vec3& n, Vec3& e, Vec3& f) noexcept
{
   const ZqReal sign = std::copysign(1.0, n.z);
   const ZqReal a = -1.0 / (sign + n.z);
   const ZqReal b = n.x * n.y * a;
   e = {1.0 + sign * n.x * n.x * a, sign * b, -sign * n.x};
   f = {b, sign + n.y * n.y * a, -n.y};
}

struct Tangent
{
   ZqReal e, f;
};
Tangent operator-(const Tangent& a, const Tangent& b) noexcept
{
   return {a.e - b.e, a.f - b.f};
}
ZqReal dot(const Tangent& a, const Tangent& b) noexcept
{
   return a.e * b.e + a.f * b.f;
}
ZqReal cross(const Tangent& a, const Tangent& b) noexcept
{
   return a.e * b.f - a.f * b.e;
}

struct Balance
{
   const CorePair& pair;
   ZqReal rounding;
   Vec3 n;
   Feature onA[3], onB[3];
   int count = 0;
   Vec3 a[3], b[3]; ///< points of the features; of B in the frame of B's core
   ZqReal scaleA[3], scaleB[3];
   ZqReal height[3];
   Tangent pull[3];
   ZqReal weight[3];
   Vec3 e, f, eB, fB, nB; ///< tangents; in the frame of B's core the same, and -n

   Balance(const CorePair& of, const Vec3& along) noexcept
      : pair(of), rounding(1e-14 * of.size()), n(along)
   {
   }

   bool addFeature(const Feature& pA, const Feature& pB) noexcept
   {
      for (int i = 0; i < count; ++i)
         if (onA[i].isSame(pA, rounding) && onB[i].isSame(pB, rounding))
            return true;
      if (count == 3)
         return false;
      onA[count] = pA;
      onB[count++] = pB;
      return true;
   }

   bool look() noexcept
   {
      tangentsOf(n, e, f);
      nB = -turnBack(pair.X.R, n);
      eB = turnBack(pair.X.R, e);
      fB = turnBack(pair.X.R, f);
      for (int i = 0; i < count; ++i)
      {
         if (!onA[i].furthest(n, a[i], scaleA[i]) || !onB[i].furthest(nB, b[i], scaleB[i]))
            return false;
         const Vec3 w = a[i] - pair.X * b[i];
         height[i] = zqConvex::dot(n, w);
         pull[i] = {zqConvex::dot(e, w), zqConvex::dot(f, w)};
      }
      return true;
   }

   /// Of three features whose pulls lie on a line, the middle one does not count.
   void dropMiddle() noexcept
   {
      if (count < 3)
         return;
      const Tangent c = pull[1] - pull[0];
      const Tangent d = pull[2] - pull[0];
      const Tangent g = pull[2] - pull[1];
      const ZqReal whole = cross(c, d);
      const ZqReal sides[3] = {dot(g, g), dot(d, d), dot(c, c)}; // against each
      const int k = sides[0] >= sides[1]   ? (sides[0] >= sides[2] ? 0 : 2)
                    : sides[1] >= sides[2] ? 1
                                           : 2;
      if (std::abs(whole) > 1e-9 * sides[k])
         return;
      --count;
      onA[k] = onA[2];
      onB[k] = onB[2];
      a[k] = a[2];
      b[k] = b[2];
      scaleA[k] = scaleA[2];
      scaleB[k] = scaleB[2];
      height[k] = height[2];
      pull[k] = pull[2];
   }

   /// The weights of the point of least pull among the features' affine hull.
   bool weigh() noexcept
   {
      weight[0] = 1.0;
      if (count == 2)
      {
         const Tangent c = pull[1] - pull[0];
         weight[1] = -dot(pull[0], c) / dot(c, c);
         weight[0] = 1.0 - weight[1];
      }
      else if (count == 3)
      {
         const ZqReal whole = cross(pull[1] - pull[0], pull[2] - pull[0]);
         weight[1] = cross(pull[2], pull[0]) / whole;
         weight[2] = cross(pull[0], pull[1]) / whole;
         weight[0] = 1.0 - weight[1] - weight[2];
      }
      for (int i = 0; i < count; ++i)
         if (!(std::abs(weight[i]) < 1e3))
            return false;
      return true;
   }

   Bend bend() const noexcept
   {
      Bend sum;
      for (int i = 0; i < count; ++i)
      {
         onA[i].bend(a[i], scaleA[i], e, f, weight[i], sum);
         onB[i].bend(b[i], scaleB[i], eB, fB, weight[i], sum);
         sum.ee -= weight[i] * height[i];
         sum.ff -= weight[i] * height[i];
      }
      return sum;
   }

   bool step(Tangent& y) const noexcept
   {
      if (count == 3)
      {
         const Tangent c = pull[1] - pull[0];
         const Tangent d = pull[2] - pull[0];
         const ZqReal r = height[0] - height[1];
         const ZqReal s = height[0] - height[2];
         const ZqReal whole = cross(c, d);
         y = {(r * d.f - s * c.f) / whole, (s * c.e - r * d.e) / whole};
         return true;
      }
      const Bend H = bend();
      if (count == 1)
      {
         const ZqReal determinant = H.ee * H.ff - H.ef * H.ef;
         if (!(determinant > 0.0) || !(H.ee > 0.0))
            return false;
         y = {(H.ef * pull[0].f - H.ff * pull[0].e) / determinant,
              (H.ef * pull[0].e - H.ee * pull[0].f) / determinant};
         return true;
      }
      const Tangent c = pull[1] - pull[0];
      const ZqReal length2 = dot(c, c);
      const Tangent z{-c.f, c.e};
      const ZqReal r = (height[0] - height[1]) / length2;
      const Tangent Hz{H.ee * z.e + H.ef * z.f, H.ef * z.e + H.ff * z.f};
      const ZqReal bends = dot(z, Hz);
      if (!(bends > 0.0))
         return false;
      const ZqReal s = -(dot(z, pull[0]) + r * dot(c, Hz)) / bends;
      y = {r * c.e + s * z.e, r * c.f + s * z.f};
      return true;
   }

   /// Whether pulls cancel and heights agree, to a part of the size.
   bool isBalanced(ZqReal tolerance) const noexcept
   {
      Tangent sum{0.0, 0.0};
      ZqReal spread = 0.0;
      for (int i = 0; i < count; ++i)
      {
         sum.e += weight[i] * pull[i].e;
         sum.f += weight[i] * pull[i].f;
         spread = std::max(spread, std::abs(height[i] - height[0]));
      }
      const ZqReal most = tolerance * pair.size();
      return dot(sum, sum) <= most * most && spread <= most;
   }

   Approach run(bool isPatient) noexcept
   {
      ZqReal last = 1.0;
      const int mostSteps = isPatient ? 12 : 3;
      for (int k = 0; k < mostSteps; ++k)
      {
         Tangent y;
         if (!look())
            return Approach::None;
         dropMiddle();
         if (!weigh() || !step(y))
            return Approach::None;
         const ZqReal move2 = dot(y, y);
         if (!(move2 < 0.5))
         {
            if (!isPatient)
               return Approach::None;
            const ZqReal shorter = 0.5 / std::sqrt(move2);
            y = {y.e * shorter, y.f * shorter};
         }
         // Steps that no longer shrink are rounding, if the rest is.
         if (k > 0 && !(move2 < last) && isBalanced(1e-14))
            return Approach::Balanced;
         n = unit(n + e * y.e + f * y.f);
         if (move2 <= 1e-15)
            return look() && weigh() ? Approach::Balanced : Approach::None;
         last = 0.25 * move2;
      }
      if (!look() || !weigh())
         return Approach::None;
      return isPatient && isBalanced(1e-12) ? Approach::Balanced : Approach::Nearer;
   }
};

/// Whether a rim's point lies roughly where the rim is furthest along d: points all around it are its disc.
bool isNear(const Feature& patch, const Vec3& point, const Vec3& d) noexcept
{
   if (patch.kind != Feature::Kind::Rim)
      return true;
   const ZqReal along = point.x * d.x + point.y * d.y;
   return along > 0.0 && along * along >= 0.64 * patch.p.x * patch.p.x * (d.x * d.x + d.y * d.y);
}

bool findFeatures(const Simplex& S, const Vec3& n, Balance& state) noexcept
{
   const Pose& X = state.pair.X;
   const Vec3 nB = -turnBack(X.R, n);
   for (int i = 0; i < S.count; ++i)
   {
      const Vec3 b = inverseTimes(X, S.b[i]);
      const Feature onA(state.pair.A, S.a[i]);
      const Feature onB(state.pair.B, b);
      if (!isNear(onA, S.a[i], n) || !isNear(onB, b, nB) || !state.addFeature(onA, onB))
         return false;
   }
   return true;
}

void takeFeatures(const Balance& state, Simplex& S, Vec3& n) noexcept
{
   n = state.n;
   S.count = state.count;
   for (int i = 0; i < S.count; ++i)
   {
      S.set(i, state.a[i], state.pair.X * state.b[i]);
      S.weight[i] = state.weight[i];
   }
}

/// Goes down the height by steps of a model that is surely convex: the greatest of a few features' heights to
/// first order, and the bend of those that counted last, made positive. Steps that do not lead down bring the
/// feature that was in the way, or a stiffer model.
struct SafeDescent
{
   static constexpr int mostFeatures = 8;
   static constexpr int mostSteps = 60;
   struct Entry
   {
      Feature onA, onB;
      Vec3 a, b; ///< of B in the frame of B's core
      ZqReal scaleA = 0.0, scaleB = 0.0, height = 0.0, weight = 0.0;
      Tangent pull{0.0, 0.0};
   };
   CorePair& pair;
   ZqReal rounding;
   Vec3 n;
   ZqReal height = 0.0;
   int supports = 0;
   Entry entry[mostFeatures];
   int count = 0;
   Vec3 e, f, eB, fB, nB;
   Bend H; ///< of the model
   ZqReal determinant = 0.0;
   ZqReal least = 0.0; ///< eigenvalue of H

   SafeDescent(CorePair& of, const Vec3& along) noexcept
      : pair(of), rounding(1e-15 * of.size()), n(along)
   {
      height = add(along);
   }

   /// The height along d, whose features join the others.
   ZqReal add(const Vec3& d) noexcept
   {
      Entry now;
      pair.support(d, now.a, now.b);
      ++supports;
      const ZqReal there = dot(d, now.a - now.b);
      now.b = inverseTimes(pair.X, now.b);
      now.onA = Feature(pair.A, now.a);
      now.onB = Feature(pair.B, now.b);
      for (int i = 0; i < count; ++i)
         if (entry[i].onA.isSame(now.onA, 10.0 * rounding) &&
             entry[i].onB.isSame(now.onB, 10.0 * rounding))
            return there;
      int place = count;
      if (count < mostFeatures)
         ++count;
      else // the lowest of those that do not count
      {
         place = -1;
         for (int i = 0; i < count; ++i)
            if (!(entry[i].weight > 0.0) && (place < 0 || entry[i].height < entry[place].height))
               place = i;
      }
      now.weight = count == 1 ? 1.0 : 0.0;
      entry[place] = now;
      return there;
   }

   void look() noexcept
   {
      tangentsOf(n, e, f);
      nB = -turnBack(pair.X.R, n);
      eB = turnBack(pair.X.R, e);
      fB = turnBack(pair.X.R, f);
      for (int i = 0; i < count; ++i)
      {
         Entry& at = entry[i];
         Vec3 p;
         // Along its axis a rim stays what it was last: a point.
         if (at.onA.furthest(n, p, at.scaleA))
            at.a = p;
         if (at.onB.furthest(nB, p, at.scaleB))
            at.b = p;
         const Vec3 w = at.a - pair.X * at.b;
         at.height = dot(n, w);
         at.pull = {dot(e, w), dot(f, w)};
      }
   }

   void bend(ZqReal stiffness) noexcept
   {
      H = {};
      for (int i = 0; i < count; ++i)
         if (const Entry& at = entry[i]; at.weight > 0.0)
         {
            if (at.scaleA > 0.0)
               at.onA.bend(at.a, at.scaleA, e, f, at.weight, H);
            if (at.scaleB > 0.0)
               at.onB.bend(at.b, at.scaleB, eB, fB, at.weight, H);
         }
      H.ee -= height;
      H.ff -= height;
      // Negative eigenvalues turn: across features that balance they mean nothing, along a crest they
      // tell how far to go. It is the root of the square.
      const ZqReal product = std::abs(H.ee * H.ff - H.ef * H.ef);
      const ZqReal square = H.ee * H.ee + 2.0 * H.ef * H.ef + H.ff * H.ff;
      const ZqReal sum = std::sqrt(square + 2.0 * product);
      least = std::max(product / sum, 1e-12 * sum);
      const ZqReal more = stiffness + 1e-12 * sum;
      H = {(H.ee * H.ee + H.ef * H.ef + product) / sum + more, H.ef * (H.ee + H.ff) / sum,
           (H.ff * H.ff + H.ef * H.ef + product) / sum + more};
      determinant = H.ee * H.ff - H.ef * H.ef;
   }

   Tangent solve(const Tangent& g) const noexcept
   {
      return {(H.ff * g.e - H.ef * g.f) / determinant, (H.ee * g.f - H.ef * g.e) / determinant};
   }

   /// The least of the model, by trying up to three features each: those win whose weights prove the most.
   /// Returns how far down it leads, and sets the weights.
   ZqReal step(Tangent& y) noexcept
   {
      ZqReal most = -std::numeric_limits<ZqReal>::infinity();
      int best[3] = {0, 0, 0};
      ZqReal weight[3] = {0.0, 0.0, 0.0};
      const auto offer = [&](int i, int j, int k, ZqReal v, ZqReal w)
      {
         const ZqReal u = 1.0 - v - w;
         if (!(u >= 0.0 && v >= 0.0 && w >= 0.0))
            return;
         const Tangent g{u * entry[i].pull.e + v * entry[j].pull.e + w * entry[k].pull.e,
                         u * entry[i].pull.f + v * entry[j].pull.f + w * entry[k].pull.f};
         const Tangent down = solve(g);
         const ZqReal drop = u * (entry[i].height - height) + v * (entry[j].height - height) +
                             w * (entry[k].height - height) - 0.5 * dot(g, down);
         if (!(drop > most))
            return;
         most = drop;
         y = {-down.e, -down.f};
         best[0] = i;
         best[1] = j;
         best[2] = k;
         weight[0] = u;
         weight[1] = v;
         weight[2] = w;
      };
      for (int i = 0; i < count; ++i)
      {
         offer(i, i, i, 0.0, 0.0);
         const Tangent gi = solve(entry[i].pull);
         for (int j = i + 1; j < count; ++j)
         {
            const Tangent c = entry[j].pull - entry[i].pull;
            const Tangent Hc = solve(c);
            const ZqReal cc = dot(c, Hc);
            const ZqReal r = entry[j].height - entry[i].height - dot(c, gi);
            offer(i, j, j, r / cc, 0.0);
            for (int k = j + 1; k < count; ++k)
            {
               const Tangent d = entry[k].pull - entry[i].pull;
               const ZqReal cd = dot(d, Hc);
               const ZqReal dd = dot(d, solve(d));
               const ZqReal s = entry[k].height - entry[i].height - dot(d, gi);
               const ZqReal whole = cc * dd - cd * cd;
               offer(i, j, k, (r * dd - s * cd) / whole, (s * cc - r * cd) / whole);
            }
         }
      }
      for (int i = 0; i < count; ++i)
         entry[i].weight = 0.0;
      for (int i = 0; i < 3; ++i)
         entry[best[i]].weight += weight[i];
      return -most;
   }

   /// A direction near d along which two features that count are equally high again: the valley between them
   /// is curved.
   Vec3 balanced(const Vec3& d, ZqReal most) noexcept
   {
      int two[2] = {0, 0};
      int counting = 0;
      for (int i = 0; i < count; ++i)
         if (entry[i].weight > 0.0)
            two[counting++ & 1] = i;
      if (counting != 2)
         return d;
      const Vec3 from = n;
      n = d;
      look();
      n = from;
      const Tangent c = entry[two[1]].pull - entry[two[0]].pull;
      const ZqReal part = (entry[two[0]].height - entry[two[1]].height) / dot(c, c);
      const bool isSmall = part * part * dot(c, c) < most * most;
      return isSmall ? unit(d + e * (c.e * part) + f * (c.f * part)) : d;
   }

   void run() noexcept
   {
      ZqReal stiffness = 0.0;
      int vain = 0;
      // Many vain steps in a row are those around the axis of a rim, where the polytope does better.
      for (int k = 0; k < mostSteps && vain < 4; ++k)
      {
         look();
         bend(stiffness);
         Tangent y{0.0, 0.0};
         const ZqReal drop = step(y);
         if (!(drop > 0.1 * rounding))
            return;
         const ZqReal length = std::sqrt(dot(y, y));
         const ZqReal shorter = length > 0.5 ? 0.5 / length : 1.0;
         const Vec3 next =
            balanced(unit(n + e * (y.e * shorter) + f * (y.f * shorter)), length * shorter);
         const int before = count;
         const ZqReal there = add(next);
         vain = there < height ? 0 : vain + 1;
         if (there < height)
         {
            stiffness = height - there > 0.25 * drop * shorter ? 0.1 * stiffness : stiffness;
            n = next;
            height = there;
         }
         else if (count == before || length > 0.1)
            stiffness = std::max(8.0 * stiffness, least);
      }
   }

   void takeFeatures(Simplex& S) const noexcept
   {
      S.count = 0;
      for (int i = 0; i < count && S.count < 3; ++i)
         if (entry[i].weight > 0.0)
         {
            S.set(S.count, entry[i].a, pair.X * entry[i].b);
            S.weight[S.count++] = entry[i].weight;
         }
   }
};
} // namespace

ZqReal descendSafely(CorePair& pair, Simplex& S, Vec3& n, int& supports) noexcept
{
   SafeDescent descent(pair, n);
   descent.run();
   descent.takeFeatures(S);
   n = descent.n;
   supports += descent.supports;
   return descent.height;
}

bool balance(const CorePair& pair, Simplex& S, Vec3& n) noexcept
{
   Balance state(pair, n);
   if (!findFeatures(S, n, state) || state.run(true) != Approach::Balanced)
      return false;
   takeFeatures(state, S, n);
   return true;
}

Approach approachBalance(const CorePair& pair, Simplex& S, Vec3& n) noexcept
{
   Balance state(pair, n);
   if (!findFeatures(S, n, state))
      return Approach::None;
   const Approach result = state.run(false);
   if (result != Approach::None)
      takeFeatures(state, S, n);
   return result;
}

void exchange(Simplex& S, const Vec3& n, const Vec3& a, const Vec3& b) noexcept
{
   if (S.count < 3)
   {
      S.set(S.count++, a, b);
      return;
   }
   const Vec3 e = perpendicular(n);
   const Vec3 f = cross(n, e);
   const auto pullOf = [&](const Vec3& w) { return Tangent{dot(e, w), dot(f, w)}; };
   const Tangent p = pullOf(a - b);
   const Tangent pull[3] = {pullOf(S.w[0]), pullOf(S.w[1]), pullOf(S.w[2])};
   const ZqReal whole = cross(pull[1] - pull[0], pull[2] - pull[0]);
   // The new point's weights in the old ones: that one goes whose weight is first used up.
   int leaving = 0;
   ZqReal least = std::numeric_limits<ZqReal>::infinity();
   for (int i = 0; i < 3; ++i)
   {
      const ZqReal share = cross(pull[(i + 1) % 3] - p, pull[(i + 2) % 3] - p) / whole;
      if (const ZqReal ratio = S.weight[i] / share; share > 0.0 && ratio < least)
      {
         least = ratio;
         leaving = i;
      }
   }
   S.set(leaving, a, b);
}
} // namespace zqConvex
