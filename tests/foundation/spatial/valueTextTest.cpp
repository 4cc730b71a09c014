#include "zqManipulator/dynamics/bodies/ZqRigidBodyMassProperties.h"
#include "zqManipulator/foundation/algebra/ZqAngle.h"
#include "zqManipulator/foundation/algebra/ZqHalfAngle.h"
#include "zqManipulator/foundation/algebra/ZqPlanarVector.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <limits>
#include <sstream>

namespace
{
TEST(ValueText, ShowsEachNumberExactlyAndInItsPlace)
{
   const ZqVector v(0.1, -2.0, 1e300);
   const ZqVector w(std::numeric_limits<ZqReal>::infinity(), 1.0 / 3.0, -0.0);
   const ZqOrientation q(1.0, 2.0, 3.0, 4.0);
   ZqReArray array(2, 2);
   array[0][0] = 1.0;
   array[0][1] = 2.0;
   array[1][0] = 3.0;
   array[1][1] = 4.0;
   const ZqSecondMoment moment(5.0, 6.0, 7.0, 0.25, 0.5, 0.75);
   const ZqString momentText = "[(5, 0.25, 0.5), (0.25, 6, 0.75), (0.5, 0.75, 7)]";
   std::ostringstream out;
   out << std::setprecision(2) << v << '\n'
       << w << '\n'
       << std::setw(8) << ZqPlanarVector(1.0, 2.0) << std::setw(7) << ZqPlanarVector(3.0, 4.0)
       << '\n'
       << ZqCoordinateSystemTransformation(v, q) << '\n'
       << ZqGeneralMotion(v, w) << ZqGeneralForce(w, v) << '\n'
       << ZqSpatialMatrix(1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0) << '\n'
       << ZqRotationMatrix(1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0) << '\n'
       << array << ZqReArray() << moment << '\n'
       << ZqRigidBodyMassProperties(8.5, {1.0, 2.0, 3.0}, {90.0, 80.0, 70.0, 1.0, 2.0, 3.0}) << '\n'
       << ZqAngle(1.0 / 3.0) << ZqHalfAngle();
   EXPECT_EQ(out.str(), "(0.1, -2, 1e+300)\n"
                        "(inf, 0.3333333333333333, -0)\n"
                        "  (1, 2) (3, 4)\n"
                        "{translation (0.1, -2, 1e+300), orientation (1, 2, 3, 4)}\n"
                        "{linear (0.1, -2, 1e+300), angular (inf, 0.3333333333333333, -0)}"
                        "{force (inf, 0.3333333333333333, -0), moment (0.1, -2, 1e+300)}\n"
                        "[(1, 2, 3), (4, 5, 6), (7, 8, 9)]\n"
                        "[(1, 2, 3), (4, 5, 6), (7, 8, 9)]\n"
                        "[(1, 2), (3, 4)][]" +
                           momentText +
                           "\n"
                           "{mass 8.5, firstMoment (1, 2, 3), secondMoment "
                           "[(90, 1, 2), (1, 80, 3), (2, 3, 70)]}\n"
                           "0.3333333333333333{cos 1, sin 0}");
}
} // namespace
