#include "support/logCapture.h"
#include "support/randomValues.h"
#include "zqManipulator/foundation/spatial/ZqGeneralForce.h"
#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"

#include <gtest/gtest.h>

#include <sstream>

namespace
{
template <class Vector>
class SpatialVectorValues : public testing::Test
{
};
using SpatialVectorTypes = testing::Types<ZqGeneralMotion, ZqGeneralForce>;
TYPED_TEST_SUITE(SpatialVectorValues, SpatialVectorTypes);

TYPED_TEST(SpatialVectorValues, AreSixNumbersTheLinearPartFirst)
{
   const TypeParam a({1.5, -2.5, 3.5}, {4.5, -5.5, 6.5});
   for (std::size_t i = 0; i < 6; ++i) // all of these numbers are exact
   {
      EXPECT_EQ(std::abs(a[i]), 1.5 + static_cast<ZqReal>(i));
      EXPECT_EQ((a - 3.0 * -a)[i], 4.0 * a[i]);
      TypeParam changed = a;
      changed.setScalarValue(i, a[i] + 1e-3);
      EXPECT_TRUE(changed.approxEq(a, 1.01e-3));
      EXPECT_FALSE(changed.approxEq(a, 0.99e-3));
      changed.setScalarValue(i, zqTest::nan);
      EXPECT_FALSE(changed.approxEq(a, 1e300));
   }
}

TYPED_TEST(SpatialVectorValues, GoThroughArraysAndBytes)
{
   const TypeParam a({1.5, -2.5, 3.5}, {4.5, -5.5, 6.5});
   ZqReArray array(2, 3); // what it was before does not matter
   a.copyToArray(array);
   TypeParam back;
   EXPECT_TRUE(back.copyFromArray(array));
   EXPECT_EQ(back, a);
   zqTest::LogCapture log;
   EXPECT_FALSE(back.copyFromArray(ZqReArray(5, 1)) || back.copyFromArray(ZqReArray(6, 0)));
   EXPECT_EQ(log.size(), 2U);
   EXPECT_EQ(back, a);

   std::stringstream stream;
   ASSERT_TRUE(a.writeBin(stream));
   const std::string bytes = stream.str();
   ASSERT_EQ(bytes.size(), 6 * sizeof(ZqReal));
   for (std::size_t size = 0; size <= bytes.size(); ++size)
   {
      std::istringstream input(bytes.substr(0, size));
      TypeParam read;
      EXPECT_EQ(read.readBin(input), size == bytes.size());
      EXPECT_EQ(read, size == bytes.size() ? a : TypeParam()) << size;
   }
}
} // namespace
