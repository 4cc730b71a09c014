#include "zqManipulator/tools/posture/ZqManipulatorConstraintTool.h"

#include "zqManipulator/foundation/function/ZqLinearScalarFunction.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"

#include <algorithm>
#include <cmath>

template class ZqXmlClass<ZqManipulatorConstraintTool>;

namespace
{
/// The joint of an element; null, with a message, when the system does not have it.
const ZqManipulatorLink* linkOf(const ZqManipulatorConstraintTool::Element& element,
                                const ZqStatedSystem& system)
{
   const ZqU32 manipulator = element.first().first();
   const ZqString& label = element.first().second();
   if (manipulator != 0)
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqManipulatorConstraintTool::convert Can't deal with multiple "
                                  "manipulator for now");
   const ZqManipulatorLink* const link =
      manipulator < system.numberOfManipulators()
         ? system.system().manipulators()[manipulator].linkByIdentifier(label)
         : nullptr;
   if (link == nullptr || link->linkIndex() == ZqBaseLinkIndex)
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqManipulatorConstraintTool::convert link not found");
      return nullptr;
   }
   return link;
}
} // namespace

/// Calls an action with the group, the element and the link of each element. False as soon as a link is not
/// found, or the action answers so.
template <class AnyGroups, class Action>
bool ZqManipulatorConstraintTool::forEachElement(AnyGroups& groups, const ZqStatedSystem& system,
                                                 const Action& action)
{
   for (ZqU32 g = 0; g < groups.size(); ++g)
      for (auto& element : groups[g])
      {
         const ZqManipulatorLink* const link = linkOf(element, system);
         if (link == nullptr || !action(g, element, *link))
            return false;
      }
   return true;
}

bool ZqManipulatorConstraintTool::convert(const std::vector<ZqReal>& groupValues,
                                          const ZqStatedSystem& system,
                                          ZqManipulatorSystemState& state) const
{
   if (groupValues.empty() || groupValues.size() != m_manipulatorConstraints.size())
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqManipulatorConstraintTool::convert group size problem.");
      return false;
   }
   auto positions = state.positionStates();
   const auto set = [&](ZqU32 group, const Element& element, const ZqManipulatorLink& link)
   {
      const ZqU32 manipulator = element.first().first();
      const ZqU32 joint = link.linkIndex();
      if (manipulator >= positions.size() ||
          joint >= positions[manipulator].jointPositions().size())
      {
         Zq::Print::instance().write(Zq::Rejected,
                                     "ZqManipulatorConstraintTool::convert(): the state has no "
                                     "place for joint %u of manipulator %u.\n",
                                     joint, manipulator);
         return false;
      }
      const ZqBaseScalarFunction* const function = element.second().topElement();
      const ZqReal wanted =
         function != nullptr ? function->evaluate(groupValues[group]) : groupValues[group];
      if (std::isnan(wanted))
      {
         Zq::Print::instance().write(Zq::Rejected,
                                     "ZqManipulatorConstraintTool::convert(): the value of group "
                                     "%u leads to no position of joint %u of manipulator %u.\n",
                                     group, joint, manipulator);
         return false;
      }
      const ZqJointActuator& drive = link.jointActuator();
      positions[manipulator].jointPositions()[joint] =
         std::max(std::min(wanted, drive.upperLimit()), drive.lowerLimit());
      return true;
   };
   if (!forEachElement(m_manipulatorConstraints, system, set))
      return false;
   state.setPositionStates(positions);
   return true;
}

bool ZqManipulatorConstraintTool::setConstraintToJointLimit(const ZqStatedSystem& system)
{
   Groups groups = m_manipulatorConstraints;
   const auto set = [](ZqU32, Element& element, const ZqManipulatorLink& link)
   {
      auto* const line = dynamic_cast<ZqLinearScalarFunction*>(element.second().topElement());
      if (line == nullptr)
      {
         Zq::Print::instance().write(
            Zq::Rejected,
            "Bad function type in ZqManipulatorConstraintTool::setConstraintToJointLimit()\n");
         return true;
      }
      line->setStartValue(link.jointActuator().lowerLimit());
      line->setEndValue(link.jointActuator().upperLimit());
      return true;
   };
   if (!forEachElement(groups, system, set))
      return false;
   m_manipulatorConstraints = std::move(groups);
   return true;
}

bool ZqManipulatorConstraintTool::setToOneGroup(const ZqStatedSystem& system)
{
   Group group;
   for (ZqU32 i = 0; i < system.numberOfManipulators(); ++i)
      for (const ZqManipulatorLink* link : system.system().manipulators()[i].linkPointerVector())
      {
         const ZqJointActuator& drive = link->jointActuator();
         ZqScalarFunctionContainer function;
         function.setTopElement(ZqLinearScalarFunction(drive.lowerLimit(), drive.upperLimit()));
         group.pushBack(Element(LinkName(i, link->linkLabel()), function));
      }
   m_manipulatorConstraints = Groups({group});
   return true;
}
