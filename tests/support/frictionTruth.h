#pragma once

#include <algorithm>
#include <array>
#include <cmath>

// Two laws of friction told a second time: in axes of the system and at points of the system, with matrices
// for orientations, where the library computes in the frame of the second body.
namespace zqTest::friction
{
using V = std::array<double, 3>;
using M = std::array<V, 3>; ///< rows

inline V operator+(const V& a, const V& b)
{
   return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}
inline V operator*(double s, const V& a)
{
   return {s * a[0], s * a[1], s * a[2]};
}
inline V operator-(const V& a, const V& b)
{
   return a + -1.0 * b;
}
inline double dot(const V& a, const V& b)
{
   return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
inline double norm(const V& a)
{
   return std::sqrt(dot(a, a));
}
inline V unit(const V& a)
{
   const double length = norm(a);
   return length > 0.0 ? 1.0 / length * a : V{};
}
inline V cross(const V& a, const V& b)
{
   return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
inline V operator*(const M& R, const V& a)
{
   return {dot(R[0], a), dot(R[1], a), dot(R[2], a)};
}
inline M transpose(const M& R)
{
   return {{{R[0][0], R[1][0], R[2][0]}, {R[0][1], R[1][1], R[2][1]}, {R[0][2], R[1][2], R[2][2]}}};
}
inline M operator*(const M& A, const M& B)
{
   const M columns = transpose(B);
   return transpose({A * columns[0], A * columns[1], A * columns[2]});
}

struct Body
{
   V x{};           ///< origin of the primary frame
   M R{}, startR{}; ///< its axes now, and when sticking began
   V v{}, w{};      ///< its motion
   V lastV{}, lastW{};
   V start{}; ///< where sticking began, in the frame
};
/// Of a pair of materials.
struct Coefficients
{
   double muS, muK, viscous, turning, assumedMass;
};
struct Contact
{
   Body body1, body2;
   V normal{}, press{};
   V point{}; ///< in the frame of body 2
   double radius = 0.0, mass = 0.0, inertia = 0.0;
   bool sticks = false;
   Coefficients pair{};
};
struct Flags
{
   bool isStatic, isKinetic, isViscous;
};
/// Forces and moments about the origins of both frames, in their axes.
struct Result
{
   bool sticks = false;
   V force1{}, moment1{}, force2{}, moment2{};
};

inline V placeOf(const Body& body, const V& point)
{
   return body.x + body.R * point;
}
inline V velocityAt(const Body& body, const V& place)
{
   return body.v + cross(body.w, place - body.x);
}
inline V lastVelocityAt(const Body& body, const V& place)
{
   return body.lastV + cross(body.lastW, place - body.x);
}
inline V without(const V& a, const V& n)
{
   return a - dot(a, n) * n;
}
inline V cut(const V& a, double most)
{
   const double length = norm(a);
   return length > most ? most / length * a : a;
}
/// What a force and moment on body 2 at a place come to, and their opposites on body 1.
inline Result resultOf(const Contact& c, bool sticks, const V& place, const V& force,
                       const V& moment)
{
   const M back1 = transpose(c.body1.R);
   const M back2 = transpose(c.body2.R);
   return {sticks, back1 * (-1.0 * force),
           back1 * (-1.0 * (moment + cross(place - c.body1.x, force))), back2 * force,
           back2 * (moment + cross(place - c.body2.x, force))};
}

struct FullLaw
{
   double mostError = 0.003, ratio = 0.1, mostTwist = 0.02;

   Result operator()(const Contact& c, const Flags& use) const
   {
      const Body& A = c.body1;
      const Body& B = c.body2;
      const V& n = c.normal;
      const V place = placeOf(B, c.point);
      const V u = velocityAt(A, place) - velocityAt(B, place);
      const V w = A.w - B.w;
      const V lastU = lastVelocityAt(A, place) - lastVelocityAt(B, place);
      const V lastW = A.lastW - B.lastW;
      const double N = norm(c.press);
      const double r = c.radius;

      const V d = placeOf(A, A.start) - placeOf(B, B.start);
      const M turned = A.R * transpose(A.startR) * B.startR * transpose(B.R);
      const V sine = 0.5 * V{turned[2][1] - turned[1][2], turned[0][2] - turned[2][0],
                             turned[1][0] - turned[0][1]};
      const double cosine = 0.5 * (turned[0][0] + turned[1][1] + turned[2][2] - 1.0);
      const double twist = dot(unit(sine), n) * std::atan2(norm(sine), cosine);

      const bool stuckBefore = c.sticks;
      bool sticks = stuckBefore;
      if (!stuckBefore && dot(lastU, u) < 0.0 && dot(lastW, n) * dot(w, n) < 0.0)
         sticks = true;
      if (stuckBefore && (norm(without(d, n)) > mostError || std::abs(twist) > mostTwist))
         sticks = false;

      V force{};
      V moment{};
      if (use.isViscous)
      {
         force = force + c.pair.viscous * u;
         moment = moment + c.pair.viscous * r * w;
      }
      if (use.isKinetic && !sticks)
      {
         force = force + c.pair.muK * N * unit(u);
         moment = moment + r * r * c.pair.muK * N * unit(w);
      }
      if (use.isStatic && sticks)
      {
         const double most = c.pair.muS * N;
         const double mostMoment = c.pair.turning * r * r * c.pair.muS * N;
         const double kt = most / mostError;
         const double kn = kt * ratio;
         const double kr = mostMoment / mostTwist;
         const V un = dot(u, n) * n;
         V hold = 2.0 * std::sqrt(c.mass * kn) * un + 2.0 * std::sqrt(c.mass * kt) * (u - un);
         double turn = dot(w, n) * 2.0 * std::sqrt(c.inertia * kr);
         if (stuckBefore)
         {
            hold = hold + kt * without(d, n) + kn * dot(d, n) * n;
            turn += twist * kr;
         }
         force = force + cut(hold, most);
         moment = moment + cut(turn * n, mostMoment);
      }
      return resultOf(c, sticks, place, force, moment);
   }
};

struct DryLaw
{
   double exponent = 0.0;

   double weight(double speed) const
   {
      const long double e = exponent;
      return static_cast<double>(speed > 1e-5 ? (1.0L - std::exp(-speed * e)) / speed : e);
   }
   Result operator()(const Contact& c, const Flags& use) const
   {
      const Body& A = c.body1;
      const Body& B = c.body2;
      const V start1 = placeOf(A, A.start);
      const V start2 = placeOf(B, B.start);
      V hold = 2.0 * std::sqrt(4000.0 * c.pair.assumedMass) *
               (velocityAt(A, start1) - velocityAt(B, start2));
      if (c.sticks)
         hold = hold + 4000.0 * (start1 - start2);
      const double N = norm(c.press);
      const bool sticks = norm(hold) <= c.pair.muS * N;
      if (sticks)
         return resultOf(c, true, start2, use.isStatic ? hold : V{}, {});
      const V place = placeOf(B, c.point);
      const V slide = without(velocityAt(A, place) - velocityAt(B, place), c.normal);
      return resultOf(c, false, place,
                      use.isKinetic ? weight(norm(slide)) * c.pair.muK * N * slide : V{}, {});
   }
};
} // namespace zqTest::friction
