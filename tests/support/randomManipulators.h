#pragma once

#include "support/randomModels.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqPositionState.h"

#include <algorithm>
#include <utility>
#include <vector>

// Trees of links by the list of their parents: the parent of link i stands before it, or is `onBase`.

namespace zqTest
{
using Parents = std::vector<ZqU32>;
inline constexpr ZqU32 onBase = ZqBaseLinkIndex;

inline Parents chain(ZqU32 links)
{
   Parents parents(links, onBase);
   for (ZqU32 i = 1; i < links; ++i)
      parents[i] = i - 1;
   return parents;
}

/// Each link has two children, as far as there are links; numbered in levels.
inline Parents balancedTree(ZqU32 links)
{
   Parents parents(links, onBase);
   for (ZqU32 i = 1; i < links; ++i)
      parents[i] = (i - 1) / 2;
   return parents;
}

inline Parents randomTree(RandomValues& random, ZqU32 links)
{
   Parents parents(links, onBase);
   for (ZqU32 i = 1; i < links; ++i)
   {
      const ZqU32 parent = random.index(0, i);
      parents[i] = parent == i ? onBase : parent;
   }
   return parents;
}

/// Links label0, label1, ... in the order of the list, which need not be that of their indices. Takes
/// time in proportion to the number of links.
template <class MakeLink>
ZqIndividualManipulator makeManipulator(const Parents& parents, MakeLink makeLink)
{
   std::vector<ZqManipulatorLink> links;
   links.reserve(parents.size());
   for (ZqU32 i = 0; i < parents.size(); ++i)
   {
      links.push_back(makeLink(i));
      links.back().setLinkLabel("label" + std::to_string(i));
   }
   ZqManipulatorLink::ChildLinks ofBase;
   for (ZqU32 i = static_cast<ZqU32>(links.size()); i-- > 0;)
   {
      auto& children = links[i].childLinks().vectorContainer();
      std::reverse(children.begin(), children.end());
      auto& siblings = parents[i] == onBase ? ofBase : links[parents[i]].childLinks();
      siblings.vectorContainer().push_back(std::move(links[i]));
   }
   std::reverse(ofBase.begin(), ofBase.end());

   ZqIndividualManipulator manipulator;
   manipulator.setLinkLabel("base");
   manipulator.setManipulatorLabel("manipulator");
   manipulator.setChildLinks(ofBase);
   return manipulator;
}

inline ZqRigidBodyMassProperties randomMass(RandomValues& random)
{
   // A few points of mass: a body that can be.
   ZqRigidBodyMassProperties properties;
   for (int i = 0; i < 4; ++i)
   {
      ZqRigidBodyMassProperties point = ZqRigidBodyMassProperties::pointMass(random.real(0.1, 2.0));
      properties += point.transformBy(random.vector());
   }
   return properties;
}

inline ZqManipulatorLink randomLink(RandomValues& random)
{
   ZqManipulatorLink link;
   link.setLinkKinematics(randomJoint(random));
   link.setMassProperties(randomMass(random));
   if (random.index(0, 2) == 0)
      link.addMassProperties("tool", randomMass(random));
   if (random.index(0, 2) == 0)
      link.addNamedPoint("tip", random.vector());
   if (random.index(0, 2) == 0)
      link.addNamedFrame("flange", randomFrame(random));
   link.setIsConstrained(random.index(0, 1) == 0);
   ZqJointActuator actuator = ZqJointActuator::defaultObject();
   actuator.setLowerLimit(random.real(-3.0, -1.0));
   actuator.setUpperLimit(random.real(1.0, 3.0));
   link.setJointActuator(actuator);
   return link;
}

/// A random tree of random links on a random base, fixed or free.
inline ZqIndividualManipulator randomManipulator(RandomValues& random, ZqU32 links)
{
   ZqIndividualManipulator manipulator =
      makeManipulator(randomTree(random, links), [&](ZqU32) { return randomLink(random); });
   ZqDenavitHartenberg joint = randomJoint(random);
   manipulator.setLinkKinematics(joint);
   manipulator.setMassProperties(randomMass(random));
   manipulator.setCoordSysXForm(randomFrame(random));
   manipulator.setIsFixedBase(random.index(0, 1) == 0);
   return manipulator;
}

/// The links of a subtree, parents before their children.
inline std::vector<const ZqManipulatorLink*> inPreorder(const ZqManipulatorLink& root)
{
   std::vector<const ZqManipulatorLink*> links;
   std::vector<const ZqManipulatorLink*> waiting{&root};
   while (!waiting.empty())
   {
      const ZqManipulatorLink* const link = waiting.back();
      waiting.pop_back();
      links.push_back(link);
      for (ZqU32 i = link->childLinks().size(); i-- > 0;)
         waiting.push_back(&link->childLinks()[i]);
   }
   return links;
}

/// Whether each child knows its parent.
inline bool parentsAreRight(const ZqManipulatorLink& root)
{
   for (const ZqManipulatorLink* link : inPreorder(root))
      for (const ZqManipulatorLink& child : link->childLinks())
         if (child.parentLink() != link)
            return false;
   return true;
}

/// Whether a manipulator finds all its links, in preorder, and they it, and knows its reach.
inline bool mapsAreRight(const ZqIndividualManipulator& manipulator)
{
   const auto links = inPreorder(manipulator);
   std::map<ZqString, const ZqManipulatorLink*> last;
   for (const ZqManipulatorLink* link : links)
      last[link->linkLabel()] = link;
   bool right = manipulator.linkPointerVector().size() == links.size() - 1 &&
                manipulator.linkPointerMap().size() == last.size() &&
                manipulator.linkIndex() == ZqBaseLinkIndex &&
                manipulator.absoluteBoundingSphere().radius() ==
                   manipulator.upperBoundSubmanipulatorExtentDistance();
   for (ZqU32 i = 0; right && i + 1 < links.size(); ++i)
      right = manipulator.linkByIndex(i) == links[i + 1] && links[i + 1]->linkIndex() == i;
   for (const auto& [label, link] : last)
      right = right && manipulator.linkByIdentifier(label) == link &&
              link->manipulator() == &manipulator;
   return right;
}

inline ZqPositionState randomPosition(RandomValues& random,
                                      const ZqIndividualManipulator& manipulator)
{
   ZqPositionState state;
   std::vector<ZqReal> joints(manipulator.jointDof());
   for (ZqReal& joint : joints)
      joint = random.real(-2.0, 2.0);
   state.setJointPositions(joints);
   state.setCoordSysXForm(randomFrame(random));
   return state;
}
} // namespace zqTest
