#pragma once

#include "support/randomManipulators.h"

#include <string>

/// The manipulators that benchmarks of several subjects use.
namespace zqBenchmark
{
/// An arm of seven joints, as industrial arms have them: parallel and right-angled axes, in Craig's
/// convention.
inline ZqIndividualManipulator arm7()
{
   constexpr ZqReal right = ZqMath::pi / 2.0;
   static constexpr ZqReal a[] = {0.0, 0.0, 0.43, -0.02, 0.0, 0.0, 0.1};
   static constexpr ZqReal alpha[] = {0.0, -right, 0.0, -right, right, -right, right};
   static constexpr ZqReal d[] = {0.66, 0.24, -0.09, 0.43, 0.0, 0.05, 0.12};
   zqTest::RandomValues random(7);
   return zqTest::makeManipulator(zqTest::chain(7),
                                  [&](ZqU32 i)
                                  {
                                     ZqDenavitHartenberg joint;
                                     joint.setDhType(ZqDenavitHartenberg::Craig);
                                     joint.setDhA(a[i]);
                                     joint.setDhAlpha(alpha[i]);
                                     joint.setDhD(d[i]);
                                     ZqManipulatorLink link;
                                     link.setLinkKinematics(joint);
                                     link.setMassProperties(zqTest::randomMass(random));
                                     return link;
                                  });
}

/// Links with rotational joints of either family and a primary frame in general position.
inline ZqIndividualManipulator generalTree(const zqTest::Parents& parents)
{
   zqTest::RandomValues random(static_cast<ZqU32>(parents.size()));
   return zqTest::makeManipulator(parents,
                                  [&](ZqU32 i)
                                  {
                                     ZqDenavitHartenberg joint;
                                     joint.setDhType(i % 2 == 0 ? ZqDenavitHartenberg::Craig
                                                                : ZqDenavitHartenberg::Paul);
                                     joint.setDhA(random.real());
                                     joint.setDhAlpha(random.real(-2.0, 2.0));
                                     joint.setDhD(random.real());
                                     joint.setPrimaryFrame(zqTest::randomFrame(random));
                                     ZqManipulatorLink link;
                                     link.setLinkKinematics(joint);
                                     link.setMassProperties(zqTest::randomMass(random));
                                     return link;
                                  });
}

inline ZqIndividualManipulator tree30()
{
   zqTest::RandomValues random(30);
   ZqIndividualManipulator manipulator = generalTree(zqTest::randomTree(random, 30));
   manipulator.setIsFixedBase(false);
   manipulator.setMassProperties(zqTest::randomMass(random));
   return manipulator;
}

inline ZqIndividualManipulator chain100()
{
   return generalTree(zqTest::chain(100));
}
} // namespace zqBenchmark
