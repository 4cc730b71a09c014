#pragma once

#include "support/randomModels.h"
#include "zqManipulator/kinematics/joint/ZqQuadrilateralTypeLink.h"
#include "zqManipulator/kinematics/joint/ZqScrewTypeLink.h"

#include <memory>

namespace zqTest
{
inline ZqScrewTypeLink randomScrew(RandomValues& random)
{
   ZqScrewTypeLink joint;
   joint.setPrecursor(randomFrame(random, random.index(0, 3), 0.5));
   joint.setPrimaryFrame(randomFrame(random, random.index(0, 3), 0.3));
   joint.setPitch(random.real(-0.5, 0.5));
   return joint;
}

/// A linkage that closes from -3 to 3, and whose pivot stands at its precursor for 0: of each slider and each
/// assembly, with C above and below.
inline ZqQuadrilateralTypeLink randomLinkage(RandomValues& random)
{
   struct Lengths
   {
      ZqQuadrilateralTypeLink::JointType type;
      ZqReal nominal, opposite, d1, d2;
   };
   using enum ZqQuadrilateralTypeLink::JointType;
   static constexpr Lengths linkages[] = {
      {FixedSlider, 8.0, 10.0, 6.0, 4.0},    {FixedSlider, 8.0, 10.0, -6.0, 4.0},
      {FixedSlider, 4.2, 22.0, -16.4, 8.0}, // of the second assembly
      {PivotedSlider, 10.0, 8.0, 6.0, 4.0},  {PivotedSlider, 10.0, 8.0, -6.0, 4.0},
      {PivotedSlider, 21.0, 4.0, -16.4, 8.0}}; // as well
   const Lengths& lengths = linkages[random.index(0, 5)];
   ZqQuadrilateralTypeLink joint;
   joint.setPivotFrame(true);
   joint.setJointType(lengths.type);
   joint.setNominalLength(lengths.nominal);
   joint.setOppositeLength(lengths.opposite);
   joint.setD1Length(lengths.d1);
   joint.setD2Length(lengths.d2);
   joint.setZDistanceA(random.real());
   joint.setZDistanceB(random.real());
   const ZqReal pivot = lengths.type == FixedSlider ? lengths.nominal : lengths.opposite;
   joint.setPrecursor(randomFrame(random, random.index(0, 3), 0.5) *
                      ZqCoordinateSystemTransformation(ZqVector(-pivot, 0.0, 0.0)));
   joint.setPrimaryFrame(randomFrame(random, random.index(0, 3), 0.3));
   return joint;
}

/// A joint of each of the two.
inline std::unique_ptr<ZqLinkKinematics> randomLinkageOrScrew(RandomValues& random)
{
   if (random.index(0, 1) == 0)
      return std::make_unique<ZqScrewTypeLink>(randomScrew(random));
   return std::make_unique<ZqQuadrilateralTypeLink>(randomLinkage(random));
}
} // namespace zqTest
