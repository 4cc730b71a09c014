#include "support/randomModels.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <sstream>

namespace
{
using Transformation = ZqCoordinateSystemTransformation;
using zqTest::epsilon;
using zqTest::nan;
using zqTest::ReferenceFrame;

/// A few dozen roundings of numbers up to about four, which translations here do not exceed.
constexpr ZqReal tolerance = 60.0 * epsilon;

/// Calls f with a hundred random pairs of transformations of every combination of modes.
void forAllModes(const std::function<void(const Transformation&, const Transformation&)>& f)
{
   zqTest::RandomValues random(11);
   for (ZqU32 modes = 0; modes < 16; ++modes)
      for (int i = 0; i < 100; ++i)
      {
         SCOPED_TRACE(testing::Message() << "modes " << modes % 4 << " and " << modes / 4);
         const Transformation a = zqTest::randomFrame(random, modes % 4);
         f(a, zqTest::randomFrame(random, modes / 4));
      }
}

TEST(Transformation, ModeTellsWhatTheConstructorWasGiven)
{
   // A part counts as present when it was given, whatever its numbers are.
   EXPECT_EQ(Transformation(ZqVector(), ZqOrientation()).mode(), 0U);
   EXPECT_EQ(Transformation(ZqOrientation()).mode(), 1U);
   EXPECT_EQ(Transformation(ZqVector()).mode(), 2U);
   EXPECT_GT(Transformation().mode(), 2U);
   Transformation X;
   X.setTranslation({1.0, 2.0, 3.0});
   EXPECT_EQ(X.mode(), 2U);
   X.setToIdentity();
   EXPECT_GT(X.mode(), 2U);
   // The mode takes no part in equality.
   EXPECT_EQ(Transformation(ZqVector(), ZqOrientation()), Transformation());
}

TEST(Transformation, ProductsAgreeWithMatricesInEveryMode)
{
   zqTest::RandomValues random(12);
   forAllModes(
      [&](const Transformation& a, const Transformation& b)
      {
         const Transformation product = a * b;
         const ReferenceFrame expected = ReferenceFrame(a) * ReferenceFrame(b);
         EXPECT_LE(expected.difference(product), tolerance);
         EXPECT_EQ(product.mode(), a.mode() & b.mode());
         // The mode must not hide a part from the mapping of points.
         const ZqVector point = random.vector();
         EXPECT_TRUE((product * point).approxEq(expected * point, tolerance));
         ZqVector inPlace = point;
         product.transform(inPlace, inPlace);
         EXPECT_EQ(inPlace, product * point);
         Transformation assigned = a;
         assigned *= b;
         EXPECT_EQ(assigned, product);
         EXPECT_EQ(assigned.mode(), product.mode());
         assigned = a;
         assigned *= assigned;
         EXPECT_EQ(assigned, a * a);
         for (const bool isFirst : {true, false})
         {
            assigned = isFirst ? a : b;
            assigned.setToProduct(isFirst ? assigned : a, isFirst ? b : assigned);
            EXPECT_EQ(assigned, product);
            EXPECT_EQ(assigned.mode(), product.mode());
         }

         const Transformation inverse = a.inverse();
         EXPECT_LE(ReferenceFrame(a).inverse().difference(inverse), tolerance);
         EXPECT_EQ(inverse.mode(), a.mode());
         Transformation inverted = a;
         EXPECT_EQ(inverted.invert(), inverse);
         EXPECT_EQ(inverted.mode(), inverse.mode());
      });
}

TEST(Transformation, ApproximateEqualityIgnoresTheSignOfTheQuaternion)
{
   zqTest::RandomValues random(13);
   const Transformation X = zqTest::randomFrame(random);
   const ZqOrientation& q = X.orientation();
   EXPECT_TRUE(X.approxEq({X.translation(), -q}, 0.0));
   EXPECT_FALSE(X == Transformation(X.translation(), -q));
   for (int i = 0; i < 7; ++i)
      for (const ZqReal change : {0.9e-3, 1.1e-3, nan})
      {
         ZqVector p = X.translation();
         std::array<ZqReal, 4> c{q.w(), q.x(), q.y(), q.z()};
         (i < 3 ? p[static_cast<std::size_t>(i)] : c[static_cast<std::size_t>(i - 3)]) += change;
         EXPECT_EQ(X.approxEq({p, {c[0], c[1], c[2], c[3]}}, 1e-3), change < 1e-3) << i;
      }
}

TEST(Transformation, InterpolationIsLinearAndTakesTheShorterArc)
{
   zqTest::RandomValues random(14);
   forAllModes(
      [&](const Transformation& a, const Transformation& b)
      {
         Transformation X;
         ASSERT_TRUE(X.interpolation(a, b, 0.0));
         EXPECT_TRUE(X.approxEq(a, tolerance));
         ASSERT_TRUE(X.interpolation(a, b, 1.0));
         EXPECT_TRUE(X.approxEq(b, tolerance));

         const ZqReal fraction = random.real(0.0, 1.0);
         ASSERT_TRUE(X.interpolation(a, b, fraction));
         EXPECT_TRUE(X.translation().approxEq(
            a.translation() * (1.0 - fraction) + b.translation() * fraction, tolerance));
         EXPECT_LE(zqTest::lengthError(X.orientation()), 4.0 * epsilon);
         // The part of the turn, and so of the shorter of the two arcs, which logarithm gives. An arc
         // of nearly half a turn is ill-conditioned: its axis is known to epsilon / (pi - angle).
         const ZqVector arc = (a.orientation().inverse() * b.orientation()).logarithm();
         const ZqVector part = (a.orientation().inverse() * X.orientation()).logarithm();
         EXPECT_TRUE(part.approxEq(arc * fraction, tolerance / (ZqMath::pi - arc.mag())));
         const ZqVector point = random.vector();
         EXPECT_TRUE((X * point).approxEq(ReferenceFrame(X) * point, tolerance)); // the mode
         Transformation other = a;
         ASSERT_TRUE(other.interpolation(other, b, fraction));
         EXPECT_EQ(other, X);
      });
   const Transformation a = zqTest::randomFrame(random);
   Transformation X;
   const Transformation kept = X;
   for (const ZqReal fraction : {-1e-300, 1.0 + epsilon, -1.0, nan, zqTest::infinity})
   {
      EXPECT_FALSE(X.interpolation(a, Transformation(), fraction)) << fraction;
      EXPECT_EQ(X, kept);
   }
}

TEST(Transformation, IntegrationOfAConstantVelocityIsExact)
{
   zqTest::RandomValues random(15);
   for (int i = 0; i < 200; ++i)
   {
      const Transformation start = zqTest::randomFrame(random, random.index(0, 3));
      const ZqVector axis = random.unitVector();
      const ZqReal rate = random.real(-8.0, 8.0);
      const ZqVector v = random.vector();
      const ZqReal dt = random.real(-0.5, 1.0);
      // The turn in the reference frame stands to the left, and the origin moves straight.
      ZqOrientation turn;
      turn.setFromAngleAxis(rate * dt, axis);
      const Transformation expected(start.translation() + v * dt, turn * start.orientation());
      for (const int steps : {1, 50})
      {
         Transformation X = start;
         for (int k = 0; k < steps; ++k)
            X.integrateReferenceFrameVelocity({v, axis * rate}, dt / steps);
         EXPECT_TRUE(X.approxEq(expected, steps * tolerance)); // each step rounds anew
         // Whereas the length does not drift, beyond what is unit length to within rounding.
         EXPECT_LE(zqTest::lengthError(X.orientation()), 8.0 * epsilon);
         const ZqVector point = random.vector();
         EXPECT_TRUE((X * point).approxEq(ReferenceFrame(X) * point, tolerance)); // the mode
      }
   }
   // Rates that square to nothing still count to the last digits.
   for (const ZqReal rate : {1e-8, 1e-150, 1e-160, 1e-300})
   {
      Transformation X;
      X.integrateReferenceFrameVelocity({{}, {rate, -2.0 * rate, 3.0 * rate}}, 0.5);
      EXPECT_EQ(X.orientation().w(), 1.0);
      EXPECT_TRUE(
         (X.orientation().vectorPart() / rate).approxEq({0.25, -0.5, 0.75}, 4.0 * epsilon));
   }
}

TEST(Transformation, BinaryFormIsExactAndRefusesWhatIsNone)
{
   zqTest::RandomValues random(16);
   for (ZqU32 mode = 0; mode < 4; ++mode)
   {
      const Transformation X = zqTest::randomFrame(random, mode);
      const Transformation kept = zqTest::randomFrame(random);
      std::ostringstream out;
      ASSERT_TRUE(X.writeBin(out));
      const std::string bytes = out.str();
      const auto expectRead = [&](const std::string& form, bool accepted)
      {
         std::istringstream in(form);
         Transformation back = kept;
         EXPECT_EQ(back.readBin(in), accepted);
         EXPECT_EQ(back, accepted ? X : kept);
         EXPECT_EQ(back.mode(), accepted ? mode : 0U);
      };
      expectRead(bytes, true);
      expectRead(bytes.substr(0, 55), false);
      // Each number of the quaternion in turn is no number; then all are zero.
      for (std::size_t i = 3; i < 7; ++i)
      {
         std::string spoiled = bytes;
         std::memcpy(&spoiled[i * sizeof(ZqReal)], &nan, sizeof(nan));
         expectRead(spoiled, false);
      }
      expectRead(bytes.substr(0, 3 * sizeof(ZqReal)) + std::string(4 * sizeof(ZqReal), '\0'),
                 false);
   }
}
} // namespace
