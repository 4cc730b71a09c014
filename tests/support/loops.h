#pragma once

#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"

namespace zqTest
{

/// A uniform rod along x, of 1 kg a metre, hinged about z at the end of the one before it.
inline ZqManipulatorLink rod(const ZqString& label, ZqReal before, ZqReal length)
{
   ZqDenavitHartenberg joint;
   joint.setDhType(ZqDenavitHartenberg::Craig);
   joint.setDhA(before);
   const ZqReal inertia = length * length * length / 3.0;
   ZqManipulatorLink link;
   link.setLinkLabel(label);
   link.setLinkKinematics(joint);
   link.setMassProperties({length, ZqVector(0.5 * length * length, 0.0, 0.0),
                           ZqSecondMoment(0.0, inertia, inertia, 0.0, 0.0, 0.0)});
   return link;
}

/// Keeps a point of one link at one of another.
template <class Constraint>
Constraint pin(const ZqString& first, const ZqVector& p1, const ZqString& second,
               const ZqVector& p2)
{
   Constraint constraint;
   constraint.setFirstLinkLabel(first);
   constraint.setSecondLinkLabel(second);
   constraint.setFirstLinkPoint(p1);
   constraint.setSecondLinkPoint(p2);
   return constraint;
}

} // namespace zqTest
