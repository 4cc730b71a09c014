#include "zqManipulator/tools/conversion/ZqKinematicsConversionTool.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/tools/conversion/ZqDhFrameChange.h"

#include <algorithm>
#include <cmath>

template class ZqXmlClass<ZqKinematicsConversionTool>;

namespace
{
using Transform = ZqCoordinateSystemTransformation;

/// Gives a link a joint with another D-H frame, in which the old one is told: what is fixed in the link
/// stays in space.
void setJoint(ZqManipulatorLink& link, ZqDenavitHartenberg& joint, const Transform& oldInNew)
{
   joint.setPrimaryFrame(oldInNew * joint.primaryFrame());
   link.setLinkKinematics(joint);
   zqDhFrameChange::tellChildren(link, oldInNew);
}

/// The link of a label with its joint, which is of D-H; null, with a message, when there is none, or when a link
/// without a joint stands on its D-H frame, with which it would move.
std::pair<ZqManipulatorLink*, const ZqDenavitHartenberg*>
linkWithDh(ZqIndividualManipulator& manipulator, const std::string& label)
{
   ZqManipulatorLink* const link = manipulator.linkByIdentifier(label);
   if (link == nullptr || link->linkIndex() == ZqBaseLinkIndex)
   {
      Zq::Print::instance().write(
         Zq::Rejected,
         "ZqKinematicsConversionTool::reconfigureDhToPrecursor: incorrect link label.\n");
      return {nullptr, nullptr};
   }
   const auto* joint =
      dynamic_cast<const ZqDenavitHartenberg*>(link->linkKinematicsContainer().topElement());
   if (joint == nullptr || joint->dhType() > ZqDenavitHartenberg::General ||
       joint->jointType() > ZqDenavitHartenberg::Prismatic)
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqKinematicsConversionTool::reconfigureDhToPrecursor: not D-H.\n");
      return {nullptr, nullptr};
   }
   for (const ZqManipulatorLink& child : std::as_const(*link).childLinks())
      if (child.linkKinematicsContainer().topElement() == nullptr)
      {
         Zq::Print::instance().write(
            Zq::Rejected,
            "ZqKinematicsConversionTool::reconfigureDhToPrecursor: the child "
            "\"%s\" of link \"%s\" has no joint.\n",
            child.linkLabel().c_str(), label.c_str());
         return {nullptr, nullptr};
      }
   return {link, joint};
}
} // namespace

bool ZqKinematicsConversionTool::reconfigureDhToPrecursor(ZqIndividualManipulator& manipulator,
                                                          const std::string& linkLabel)
{
   using Dh = ZqDenavitHartenberg;
   const auto [link, old] = linkWithDh(manipulator, linkLabel);
   if (link == nullptr)
      return false;
   // What stands before the joint's own turn or slide, and what stands behind it.
   Dh joint = *old;
   const bool hasPrecursor = old->dhType() != Dh::Paul && old->dhType() != Dh::Craig;
   Transform inboard = hasPrecursor ? old->precursor() : Transform();
   Transform outboard;
   if (old->dhType() != Dh::General)
   {
      const bool isPaul = old->dhType() <= Dh::GeneralPaul;
      (isPaul ? outboard : inboard) *=
         Transform(ZqVector::xVector(old->dhA()), ZqOrientation::xRotation(old->dhAlpha()));
      inboard *= old->jointType() == Dh::Rotational
                    ? Transform(ZqVector::zVector(old->dhD()))
                    : Transform(ZqOrientation::zRotation(old->dhTheta()));
      joint.setDhType(isPaul ? Dh::GeneralPaul : Dh::GeneralCraig);
   }
   joint.setPrecursor(inboard);
   joint.setDhA(0.0);
   joint.setDhD(0.0);
   joint.setDhAlpha(0.0);
   joint.setDhTheta(0.0);
   setJoint(*link, joint, outboard);
   manipulator.fitAbsoluteBoundingSphere();
   return true;
}

bool ZqKinematicsConversionTool::flipJointSign(ZqIndividualManipulator& manipulator,
                                               const std::string& linkLabel)
{
   if (!reconfigureDhToPrecursor(manipulator, linkLabel))
      return false;
   const auto [link, old] = linkWithDh(manipulator, linkLabel);
   // Half a turn about y, exactly: Rz(q) = Y Rz(-q) / Y, and so for a slide.
   const Transform Y(ZqOrientation(0.0, 0.0, 1.0, 0.0));
   ZqDenavitHartenberg joint = *old;
   joint.setPrecursor(old->precursor() * Y);
   setJoint(*link, joint, Y.inverse());
   ZqLinkEdit edit;
   edit.restate(link->linkIndex(), linkLabel, {{}, -1.0, 0.0});
   manipulator.apply(edit);
   manipulator.fitAbsoluteBoundingSphere();
   return true;
}

bool ZqKinematicsConversionTool::add3SagJoints(ZqIndividualManipulator& manipulator,
                                               const std::string& linkLabel,
                                               std::vector<std::string>& newLabels)
{
   const std::string first = "sag-" + linkLabel;
   const std::vector<std::string> labels{first, first + "-1", first + "-2"};
   ZqManipulatorLink* const link = manipulator.linkByIdentifier(linkLabel);
   const bool isFree = std::all_of(labels.begin(), labels.end(),
                                   [&](const std::string& label)
                                   { return manipulator.linkByIdentifier(label) == nullptr; });
   if (link == nullptr || link->linkIndex() == ZqBaseLinkIndex || !isFree)
   {
      const char* reason = link == nullptr ? "there is no such link"
                           : isFree        ? "it is the base, which has no joint"
                                           : "it has sag joints already";
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqKinematicsConversionTool::add3SagJoints(): \"%s\": %s.\n",
                                  linkLabel.c_str(), reason);
      return false;
   }

   // Axes along x, y and z of the link's D-H frame; the third precursor leads back to that.
   const ZqOrientation aboutX = ZqOrientation::yRotation(0.5 * ZqMath::pi);
   const ZqOrientation aboutY = ZqOrientation::xRotation(-0.5 * ZqMath::pi);
   const ZqOrientation precursors[] = {aboutX, aboutY, (aboutX * aboutY).inverse()};
   ZqManipulatorLink chain;
   for (std::size_t i = labels.size(); i-- > 0;)
   {
      ZqDenavitHartenberg joint;
      joint.setDhType(ZqDenavitHartenberg::GeneralPaul);
      joint.setPrecursor(precursors[i]);
      ZqManipulatorLink sag;
      sag.setLinkLabel(labels[i]);
      sag.setLinkKinematics(joint);
      sag.setJointActuator(ZqJointActuator::defaultObject());
      sag.setIsConstrained(true);
      if (i + 1 == labels.size())
         sag.setChildLinks(std::as_const(*link).childLinks());
      else
         sag.addChild(chain);
      chain = std::move(sag);
   }
   const ZqU32 at = link->linkIndex() + 1;
   ZqManipulatorLink::ChildLinks behind;
   behind.pushBack(chain);
   link->setChildLinks(behind);
   manipulator.apply(ZqLinkEdit::inserted(at, static_cast<ZqU32>(labels.size())));
   manipulator.mapManipulator();
   manipulator.buildSelfCollisionLinkMap();
   manipulator.fitAbsoluteBoundingSphere();
   newLabels = labels;
   return true;
}

bool ZqKinematicsConversionTool::reconfigureForIdentityPrimaryFrames(
   ZqStatedSystem& system, unsigned int manipulatorIndex) const
{
   if (manipulatorIndex < system.numberOfManipulators() &&
       system.restateManipulator(manipulatorIndex, [](ZqIndividualManipulator& manipulator)
                                 { manipulator.transformAllPrimaryFramesToIdentity(); }))
      return true;
   Zq::Print::instance().write(Zq::Rejected,
                               "ZqKinematicsConversionTool::reconfigureForIdentityPrimaryFrames(): "
                               "bad manipulator index, %d\n",
                               static_cast<int>(manipulatorIndex));
   return false;
}

namespace
{
/// By how many whole turns a middle comes nearest to a center; zero where it stays, or no number is known.
ZqReal turnsTo(ZqReal center, ZqReal middle)
{
   const ZqReal turns = (center - middle) / (2.0 * ZqMath::pi);
   // Beyond this, a turn is no longer told within 1e-9.
   if (!(std::abs(turns) < 1e6))
      return 0.0;
   return turns > 0.0 ? std::ceil(turns - 0.5) : std::floor(turns + 0.5);
}
} // namespace

bool ZqKinematicsConversionTool::recenterJointLimits(ZqStatedSystem& system,
                                                     unsigned int manipulatorIndex,
                                                     const std::vector<double>& centers) const
{
   const char* const failure =
      manipulatorIndex >= system.numberOfManipulators()
         ? "ZqKinematicsConversionTool::recenterJointLimits(): bad manipulator index, %d\n"
      : manipulatorIndex >= system.state().positionStates().size()
         ? "ZqKinematicsConversionTool::recenterJointLimits(): bad state for manipulator index %d\n"
         : nullptr;
   if (failure != nullptr)
   {
      Zq::Print::instance().write(Zq::Rejected, failure, static_cast<int>(manipulatorIndex));
      return false;
   }
   return system.restateManipulator(
      manipulatorIndex,
      [&](ZqIndividualManipulator& manipulator)
      {
         ZqLinkEdit edit;
         const ZqU32 count = std::min(manipulator.jointDof(), static_cast<ZqU32>(centers.size()));
         for (ZqU32 i = 0; i < count; ++i)
         {
            const ZqManipulatorLink& link = *manipulator.linkByIndex(i);
            const auto* joint = dynamic_cast<const ZqDenavitHartenberg*>(
               link.linkKinematicsContainer().topElement());
            if (joint == nullptr || joint->jointType() != ZqDenavitHartenberg::Rotational)
               continue;
            const ZqJointActuator& drive = link.jointActuator();
            const ZqReal turns =
               turnsTo(centers[i], (drive.lowerLimit() + drive.upperLimit()) / 2.0);
            if (turns != 0.0)
               edit.restate(i, link.linkLabel(), {{}, 1.0, 2.0 * ZqMath::pi * turns});
         }
         manipulator.apply(edit);
      });
}
