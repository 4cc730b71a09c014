#include "zqManipulator/tools/checks/ZqInspection.h"

#include <array>
#include <charconv>
#include <cmath>

ZqString zqChecks::pathOf(const ZqIndividualManipulator& manipulator)
{
   return "manipulator '" + Zq::oneLine(manipulator.manipulatorLabel()) + "'";
}

ZqString zqChecks::pathOf(const ZqIndividualManipulator& manipulator, const ZqManipulatorLink& link)
{
   return pathOf(manipulator) + "/link '" + Zq::oneLine(link.linkLabel()) + "'";
}

ZqString zqChecks::rounded(ZqReal value)
{
   std::array<char, 32> digits{};
   const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                  std::chars_format::general, 6);
   return {digits.data(), end.ptr};
}

ZqReal zqChecks::roundedDown(ZqReal value)
{
   const ZqReal unit = std::pow(10.0, std::floor(std::log10(value)) - 1.0);
   return std::floor(value / unit) * unit;
}
