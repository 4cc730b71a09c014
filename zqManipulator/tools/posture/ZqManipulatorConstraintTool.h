#pragma once

#include "zqManipulator/foundation/function/ZqScalarFunctionContainer.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlPairType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

class ZqManipulatorLink;
class ZqManipulatorSystemState;
class ZqStatedSystem;

/// Describes the joint positions of a system by fewer parameters: each drives a group of joints, each of
/// which follows it by a scalar function.
class ZqManipulatorConstraintTool : public ZqXmlClass<ZqManipulatorConstraintTool>
{
public:
   /// Index of a manipulator, and label of a link of it.
   using LinkName = ZqXmlPairType<ZqXmlBasicType<ZqU32>, ZqXmlBasicType<ZqString>>;
   /// A joint (rad or m) by the parameter of its group.
   using Element = ZqXmlPairType<LinkName, ZqScalarFunctionContainer>;
   using Group = ZqXmlVectorType<Element>;
   using Groups = ZqXmlVectorType<Group>;

   static const ZqToken& classToken() { return ZqManip::ZqManipulatorConstraintToolToken; }
   static constexpr const char* documentation = "groups of joints that follow one parameter each";
   template <class This = ZqManipulatorConstraintTool>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_manipulatorConstraints,
                                    &ZqManip::ZqManipulatorConstraintsToken,
                                    "for each group its joints, by index of the manipulator and "
                                    "label of the link, with position (rad or m) by parameter"}};
   }
   bool operator==(const ZqManipulatorConstraintTool&) const = default;

   virtual const Groups& manipulatorConstraints() const { return m_manipulatorConstraints; }
   virtual void setManipulatorConstraints(const Groups& groups)
   {
      m_manipulatorConstraints = groups;
   }

   /// Writes the positions of all joints that are named, each within the limits of its drive, into a state.
   /// A joint without a function has the value of the parameter. Another manipulator than the first is told
   /// of with a message. False, with a message and the state as it was, when there is not one value for
   /// each group, no group, or a link that the system, or the state a place of it, does not have.
   virtual bool convert(const std::vector<ZqReal>& groupValues, const ZqStatedSystem& system,
                        ZqManipulatorSystemState& state) const;
   /// Has each function, which is to be a `ZqLinearScalarFunction`, lead from the lower to the upper limit of
   /// the joint's drive. A function of another kind stays, with a message. False, with a message and nothing
   /// changed, when there is no such link.
   virtual bool setConstraintToJointLimit(const ZqStatedSystem& system);
   /// Becomes one group of all joints of the system, which the parameter leads from the lower limits, at 0, to
   /// the upper ones, at 1. True.
   virtual bool setToOneGroup(const ZqStatedSystem& system);

private:
   template <class AnyGroups, class Action>
   static bool forEachElement(AnyGroups& groups, const ZqStatedSystem& system,
                              const Action& action);

   Groups m_manipulatorConstraints;
};

extern template class ZqXmlClass<ZqManipulatorConstraintTool>;
