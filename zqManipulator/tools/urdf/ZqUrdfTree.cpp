#include "zqManipulator/tools/urdf/ZqUrdfRobot.h"

#include <cmath>
#include <unordered_map>

namespace ZqUrdf
{
namespace
{
using Numbers = std::unordered_map<ZqString, ZqU32>;

ZqString placeOf(const Link& link)
{
   return "link " + quoted(link.name);
}
ZqString placeOf(const Joint& joint)
{
   return "joint " + quoted(joint.name);
}

/// Numbers links or joints by name.
template <class Part>
std::optional<Fault> number(const std::vector<Part>& parts, Numbers& numbers)
{
   for (ZqU32 i = 0; i < parts.size(); ++i)
      if (const auto [other, isNew] = numbers.emplace(parts[i].name, i); !isNew)
         return Fault{placeOf(parts[i]),
                      "the name is taken already, in line " +
                         std::to_string(parts[other->second].line),
                      parts[i].line};
   return std::nullopt;
}

/// Hangs each joint on its parent and each child on its joint.
std::optional<Fault> connect(const Robot& robot, const Numbers& links, Tree& tree)
{
   tree.jointAbove.assign(robot.links.size(), none);
   tree.children.resize(robot.links.size());
   for (ZqU32 j = 0; j < robot.joints.size(); ++j)
   {
      const Joint& joint = robot.joints[j];
      for (const ZqString* name : {&joint.parent, &joint.child})
         if (!links.contains(*name))
            return Fault{placeOf(joint), "there is no link " + quoted(*name), joint.line};
      ZqU32& above = tree.jointAbove[links.at(joint.child)];
      if (above != none)
         return Fault{placeOf(joint),
                      "link " + quoted(joint.child) + " is already the child of joint " +
                         quoted(robot.joints[above].name),
                      joint.line};
      above = j;
      tree.children[links.at(joint.parent)].push_back(j);
   }
   return std::nullopt;
}

std::optional<Fault> findRoot(const Robot& robot, Tree& tree)
{
   for (ZqU32 i = 0; i < robot.links.size(); ++i)
   {
      if (tree.jointAbove[i] != none)
         continue;
      if (tree.root != none)
         return Fault{placeOf(robot.links[i]),
                      "no joint has it as its child, as none has link " +
                         quoted(robot.links[tree.root].name) + ": a robot is one tree",
                      robot.links[i].line};
      tree.root = i;
   }
   if (robot.links.empty())
      return Fault{"robot", "there is no link", 0};
   if (tree.root == none)
      return Fault{placeOf(robot.joints.front()),
                   "there is no root: each link is the child of a joint, so that links form a loop",
                   robot.joints.front().line};
   return std::nullopt;
}

/// Links that cannot be reached from the root hang on each other.
std::optional<Fault> checkReach(const Robot& robot, const Numbers& links, const Tree& tree)
{
   std::vector<bool> isReached(robot.links.size());
   std::vector<ZqU32> open{tree.root};
   while (!open.empty())
   {
      const ZqU32 link = open.back();
      open.pop_back();
      isReached[link] = true;
      for (const ZqU32 j : tree.children[link])
         open.push_back(links.at(robot.joints[j].child));
   }
   for (ZqU32 i = 0; i < isReached.size(); ++i)
      if (!isReached[i])
         return Fault{placeOf(robot.links[i]),
                      "it is not reached from the root, link " +
                         quoted(robot.links[tree.root].name) + ": it stands in or behind a loop",
                      robot.links[i].line};
   return std::nullopt;
}

/// Whom each joint mimics; then rows of joints that mimic each other are shortened. Each joint is gone through
/// once: `state` tells those that are done.
std::optional<Fault> resolveMimics(Robot& robot, const Numbers& joints, Tree& tree)
{
   tree.leader.assign(robot.joints.size(), none);
   for (ZqU32 j = 0; j < robot.joints.size(); ++j)
   {
      const Joint& joint = robot.joints[j];
      if (!joint.mimic)
         continue;
      const auto leader = joints.find(joint.mimic->joint);
      if (leader == joints.end())
         return Fault{placeOf(joint),
                      "it mimics joint " + quoted(joint.mimic->joint) + ", which does not exist",
                      joint.mimic->line};
      if (!robot.joints[leader->second].hasOneFreedom())
         return Fault{placeOf(joint),
                      "it mimics joint " + quoted(joint.mimic->joint) +
                         ", which neither turns nor slides",
                      joint.mimic->line};
      tree.leader[j] = leader->second;
   }
   std::vector<bool> isDone(robot.joints.size());
   std::vector<ZqU32> row;
   for (ZqU32 first = 0; first < robot.joints.size(); ++first)
   {
      row.clear();
      ZqU32 j = first;
      for (; tree.leader[j] != none && !isDone[j]; j = tree.leader[j])
      {
         if (row.size() > robot.joints.size())
            return Fault{placeOf(robot.joints[first]),
                         "it mimics itself, through other joints or not",
                         robot.joints[first].mimic->line};
         row.push_back(j);
      }
      // From the last one back, each mimics one that is done already, or one that mimics none.
      for (; !row.empty(); row.pop_back())
      {
         const ZqU32 follower = row.back();
         isDone[follower] = true;
         const ZqU32 leader = tree.leader[follower];
         if (tree.leader[leader] == none)
            continue;
         Mimic& mimic = *robot.joints[follower].mimic;
         const Mimic& above = *robot.joints[leader].mimic;
         mimic.offset += mimic.multiplier * above.offset;
         mimic.multiplier *= above.multiplier;
         tree.leader[follower] = tree.leader[leader];
         if (!std::isfinite(mimic.multiplier) || !std::isfinite(mimic.offset))
            return Fault{placeOf(robot.joints[follower]),
                         "the joint that it mimics in the end would move it without end",
                         mimic.line};
      }
   }
   return std::nullopt;
}
} // namespace

std::optional<Fault> findTree(Robot& robot, Tree& tree)
{
   Numbers links;
   Numbers joints;
   std::optional<Fault> fault = number(robot.links, links);
   if (!fault)
      fault = number(robot.joints, joints);
   if (!fault)
      fault = connect(robot, links, tree);
   if (!fault)
      fault = findRoot(robot, tree);
   if (!fault)
      fault = checkReach(robot, links, tree);
   if (!fault)
      fault = resolveMimics(robot, joints, tree);
   return fault;
}
} // namespace ZqUrdf
