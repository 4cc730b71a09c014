#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace
{
/// Logs why an operation did nothing.
void rejectEdit(const char* operation, const ZqString& what)
{
   Zq::Print::instance().report(
      Zq::Rejected, {Zq::Severity::Error, "edit-rejected", {}, 0, {}, Zq::oneLine(what)},
      ZqString("ZqStatedSystem::") + operation + "(): " + what + ".\n");
}

bool isFinite(const ZqCoordinateSystemTransformation& frame)
{
   const ZqVector& p = frame.translation();
   const ZqOrientation& o = frame.orientation();
   return std::isfinite(p.x() + p.y() + p.z() + o.w() + o.x() + o.y() + o.z());
}

ZqString inQuotes(const ZqString& label)
{
   return '"' + label + '"';
}
} // namespace

// Size

/// Whether there is a manipulator that can be scaled by the factor. If it cannot, a message of the operation
/// says so.
bool ZqStatedSystem::isScaleOf(ZqU32 index, ZqReal factor, const char* operation) const
{
   const ZqIndividualManipulator* manipulator = manipulatorByIndex(index);
   if (manipulator == nullptr || ZqModelScaling::isScale(factor))
      return manipulator != nullptr;
   std::array<char, 32> number{};
   std::snprintf(number.data(), number.size(), "%g", factor);
   rejectEdit(operation, ZqString(number.data()) + " is no scale for manipulator " +
                            inQuotes(manipulator->manipulatorLabel()));
   return false;
}

bool ZqStatedSystem::scaleManipulatorBy(ZqU32 index, ZqReal factor)
{
   if (!isScaleOf(index, factor, "scaleManipulatorBy"))
      return false;
   systemToModify().aboutToModifyManipulator(index);
   ZqManipulatorSystem::Manipulators manipulators = system().manipulators();
   manipulators[index].scaleBy(factor);
   manipulators[index].fitAbsoluteBoundingSphere();

   // Positions and rates of prismatic joints are lengths, and are scaled; those of others are not.
   scaleJoints(system().manipulators()[index].scaling(factor, {}));

   ZqManipulatorSystem scaled = system();
   scaled.setManipulators(manipulators);
   setSystem(scaled);
   return true;
}

/// Scales the joint positions and rates of a state.
void ZqStatedSystem::scaleJoints(const ZqModelScaling& scaling)
{
   const auto scale = [&](std::vector<ZqReal>& values)
   {
      for (ZqU32 j = 0; j < values.size(); ++j)
         values[j] *= scaling.jointFactor(j);
   };
   const ZqU32 index = scaling.manipulator;
   if (index < m_state.positionStates().size())
      scale(m_state.positionStates()[index].jointPositions().values());
   if (index < m_state.velocityStates().size())
      scale(m_state.velocityStates()[index].jointVelocities().values());
}

bool ZqStatedSystem::resizeManipulator(ZqU32 index, ZqReal factor)
{
   if (!isScaleOf(index, factor, "resizeManipulator"))
      return false;
   const ZqIndividualManipulator& manipulator = system().manipulators()[index];
   ZqCoordinateSystemTransformation base = manipulator.coordSysXForm();
   if (index < m_state.positionStates().size())
      base = base * m_state.positionStates()[index].coordSysXForm();
   const ZqModelScaling scaling = manipulator.scaling(factor, base.translation());
   if (!systemToModify().resizeManipulator(scaling))
      return false;
   scaleJoints(scaling);
   m_configuration.attachmentMap().scaleBy(scaling);
   attachConfiguration();
   if (index < m_propagationResults.size())
      m_propagationResults[index] = ZqPropagationResultData();
   m_activeState.reset();
   resetReportActiveState();
   carryAlong(index);
   return true;
}

// Attachments

/// Puts what hangs on a manipulator, and that itself if it is attached, where their carriers have them, with their
/// velocities.
void ZqStatedSystem::carryAlong(ZqU32 index)
{
   const ZqManipulatorAttachmentMap& attachments = m_configuration.attachmentMap();
   std::vector<ZqU32> carried = attachments.dependentManipulators(index);
   carried.push_back(index);
   ZqSystemActiveState active;
   active.setNonredundantState(m_state);
   std::vector<ZqU32> indices;
   std::vector<ZqCoordinateSystemTransformation> frames;
   std::vector<ZqGeneralMotion> velocities;
   attachments.calculateBaseMotions(system().manipulators(), active.manipulatorActiveStateVector(),
                                    indices, frames, velocities);
   for (std::size_t i = 0; i < indices.size(); ++i)
   {
      if (std::find(carried.begin(), carried.end(), indices[i]) == carried.end())
         continue;
      stateToModify().positionStates()[indices[i]].setCoordSysXForm(frames[i]);
      if (indices[i] < m_state.velocityStates().size())
         stateToModify().velocityStates()[indices[i]].setGeneralVelocity(velocities[i]);
   }
}

bool ZqStatedSystem::attachManipulator(const ZqString& label, const ZqString& carrierLabel,
                                       const ZqString& linkLabel,
                                       const ZqCoordinateSystemTransformation& offset,
                                       const ZqString& name)
{
   ZqManipulatorAttachmentMap& attachments = m_configuration.attachmentMap();
   ZqU32 index = 0;
   ZqU32 carrier = 0;
   const bool isThere = lookupManipulatorIndexFromLabel(label, index);
   const bool isCarrierThere = lookupManipulatorIndexFromLabel(carrierLabel, carrier);
   const auto hangsOnIt = [&]
   {
      const std::vector<ZqU32> carried = attachments.dependentManipulators(index);
      return std::find(carried.begin(), carried.end(), carrier) != carried.end();
   };
   const auto reject = [&](const ZqString& why)
   {
      rejectEdit("attachManipulator", "manipulator " + inQuotes(label) +
                                         " cannot be attached to link " + inQuotes(linkLabel) +
                                         " of " + inQuotes(carrierLabel) + ": " + why);
      return false;
   };
   if (!isThere || !isCarrierThere)
      return reject("there is no manipulator " + inQuotes(isThere ? carrierLabel : label));
   if (system().manipulators()[carrier].linkByIdentifier(linkLabel) == nullptr)
      return reject("there is no such link");
   if (index == carrier)
      return reject("it would hang on itself");
   if (hangsOnIt())
      return reject(inQuotes(carrierLabel) + " hangs on it");
   if (!isFinite(offset))
      return reject("the offset is not finite");

   if (!attachments.attachManipulator(index, carrier, linkLabel, offset, name))
   {
      // Either it hangs there already, within a tolerance, or the chain would get too long.
      ZqU32 presentCarrier = 0;
      ZqString presentLink;
      ZqCoordinateSystemTransformation presentOffset;
      if (!attachments.getDependentManipulatorInfo(index, presentCarrier, presentLink,
                                                   presentOffset) ||
          presentCarrier != carrier || presentLink != linkLabel)
         return reject("the chain would get too long");
   }
   ZqManipulatorAttachmentNode& node = *attachments.findNode(index);
   node.setOffset(offset);
   if (!name.empty())
      node.setName(name);
   carryAlong(index);
   return true;
}

bool ZqStatedSystem::detachManipulator(const ZqString& label)
{
   ZqManipulatorAttachmentMap& attachments = m_configuration.attachmentMap();
   ZqU32 index = 0;
   const bool isThere = lookupManipulatorIndexFromLabel(label, index);
   const ZqManipulatorAttachmentNode* node = isThere ? attachments.findNode(index) : nullptr;
   if (node == nullptr || node->parentNode() == nullptr)
   {
      rejectEdit("detachManipulator", "manipulator " + inQuotes(label) + " cannot be detached: " +
                                         (isThere ? "it is not attached" : "there is none"));
      return false;
   }
   carryAlong(index);
   forgetInteractions();
   return attachments.removeManipulatorAttachment(index);
}

// Scenes

void ZqStatedSystem::append(const ZqStatedSystem& other)
{
   if (!(environment() == other.environment()))
      Zq::Print::instance().report(
         Zq::Oddity,
         {Zq::Severity::Warning,
          "environment-kept",
          {},
          0,
          {},
          "the scenes differ in their environment: that of the first stays"},
         "ZqStatedSystem::append(): the scenes differ in their environment: that of the first "
         "stays.\n");
   ZqManipulatorSystemConfiguration configuration = other.m_configuration;
   configuration.shiftManipulatorIndices(numberOfManipulators());
   const ZqManipulatorSystemState state = other.m_state;
   systemToModify().append(other.system());
   m_state.mergeWith(state);
   m_configuration.mergeWith(configuration);
   attachConfiguration();
   m_activeState.reset();
   resetReportActiveState();
}
