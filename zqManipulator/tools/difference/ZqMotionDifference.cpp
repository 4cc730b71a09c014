#include "zqManipulator/tools/difference/ZqMotionDifference.h"

#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/bodies/ZqManipulatorTorque.h"
#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <boost/random/generate_canonical.hpp>
#include <boost/random/mersenne_twister.hpp>

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <utility>

namespace
{
using Deviation = ZqMotionDifference::Deviation;
using Transform = ZqCoordinateSystemTransformation;

class Numbers
{
public:
   explicit Numbers(ZqU32 seed) : m_generator(seed) {}

   ZqReal between(ZqReal low, ZqReal high)
   {
      return low + (high - low) * boost::random::generate_canonical<ZqReal, 53>(m_generator);
   }
   ZqVector vector()
   {
      const ZqReal x = between(-1.0, 1.0);
      const ZqReal y = between(-1.0, 1.0);
      return {x, y, between(-1.0, 1.0)};
   }

private:
   boost::random::mt19937 m_generator;
};

/// A joint of both scenes, by its indices, and the sense in which it turns in the second one.
struct Joint
{
   ZqU32 first;
   ZqU32 second;
   ZqReal sense = 1.0;
};

/// A link of both scenes: a point of it and its orientation, that can be told in any convention.
struct Body
{
   const ZqManipulatorLink* links[2];
   ZqVector points[2];            ///< in the primary frame
   ZqOrientation orientations[2]; ///< of the primary frame, where the scene has it
   ZqReal angle = 0.0;            ///< by which massless links stand apart there
   ZqReal mass = 0.0;             ///< difference
   ZqReal inertia = 0.0;          ///< greatest difference of an element
};

/// A manipulator of both scenes.
struct Couple
{
   const ZqStatedSystem* scenes[2];
   const ZqIndividualManipulator* manipulators[2];
   ZqPositionState own[2];
   ZqPositionState positions[2];
   ZqVelocityState velocities[2];
   std::vector<Joint> joints = {};
   std::vector<Body> bodies = {};

   ZqString place(const ZqManipulatorLink& link) const
   {
      return manipulators[0]->manipulatorLabel() + '/' + link.linkLabel();
   }
};

/// By the angle of the rotation from one to the other.
ZqReal angleBetween(const ZqOrientation& first, const ZqOrientation& second)
{
   const ZqOrientation q = first.inverse() * second;
   const ZqVector axis(q.x(), q.y(), q.z());
   return 2.0 * std::atan2(axis.mag(), std::abs(q.w()));
}

Transform frameAt(const ZqManipulatorLink& link, const ZqPositionState& position)
{
   ZqManipulatorActivePositionState state;
   state.setPositionState(position);
   return link.primaryFrameInSystem(state);
}

/// How a link moves when its own joint goes on by a bit, whatever its frame is.
Transform moveBy(ZqReal offset, const Couple& couple, int k, ZqU32 index)
{
   const ZqManipulatorLink& link = *couple.manipulators[k]->linkByIndex(index);
   ZqPositionState position = couple.own[k];
   position.jointPositions()[index] += offset;
   return frameAt(link, position) * frameAt(link, couple.own[k]).inverse();
}

/// The sense of a joint in the second scene: that in which it moves its link as in the first.
ZqReal senseOf(const Couple& couple, const Joint& joint)
{
   constexpr ZqReal bit = 0.1; // rad, or m
   const Transform inFirst = moveBy(bit, couple, 0, joint.first);
   const auto misses = [&](ZqReal sense)
   {
      const Transform inSecond = moveBy(sense * bit, couple, 1, joint.second);
      return (inFirst.translation() - inSecond.translation()).mag() +
             angleBetween(inFirst.orientation(), inSecond.orientation());
   };
   return misses(-1.0) < misses(1.0) ? -1.0 : 1.0;
}

/// About the center of mass, in axes of the system.
ZqSecondMoment inertiaOf(ZqRigidBodyMassProperties masses, const ZqOrientation& orientation)
{
   ZqVector center;
   masses.getCenterOfMass(center);
   masses.transformBy(center * -1.0);
   masses.transformBy(orientation);
   return masses.secondMoment();
}

/// Compares where a link stands in the states of the scenes.
Body bodyOf(const Couple& couple, const ZqManipulatorLink& first, const ZqManipulatorLink& second)
{
   Body body{{&first, &second}, {}, {}};
   const ZqRigidBodyMassProperties* masses[] = {&first.massProperties(), &second.massProperties()};
   // As plain numbers: a mass is never negative, nor is what is left of one.
   body.mass = std::abs(ZqReal(masses[0]->mass()) - ZqReal(masses[1]->mass()));
   Transform frames[2];
   for (int k = 0; k < 2; ++k)
   {
      frames[k] = frameAt(*body.links[k], couple.own[k]);
      body.orientations[k] = frames[k].orientation();
   }
   constexpr ZqReal least = ZqRigidBodyMassProperties::smallestMass;
   if (masses[0]->mass() > least && masses[1]->mass() > least)
   {
      ZqSecondMoment inertias[2];
      for (int k = 0; k < 2; ++k)
      {
         masses[k]->getCenterOfMass(body.points[k]);
         inertias[k] = inertiaOf(*masses[k], body.orientations[k]);
      }
      const ZqSecondMoment& A = inertias[0];
      const ZqSecondMoment& B = inertias[1];
      for (const ZqReal difference : {A.xx() - B.xx(), A.yy() - B.yy(), A.zz() - B.zz(),
                                      A.xy() - B.xy(), A.yz() - B.yz(), A.xz() - B.xz()})
         if (!(std::abs(difference) <= body.inertia))
            body.inertia = std::abs(difference);
      return body;
   }
   // By the primary frame or the D-H frame, whichever stands more nearly where it does in the first scene.
   Transform ofDh[2];
   for (int k = 0; k < 2; ++k)
      ofDh[k] = body.links[k]->primaryFrame().inverse();
   const Transform dhFrames[] = {frames[0] * ofDh[0], frames[1] * ofDh[1]};
   const auto apart = [](const Transform(&X)[2])
   {
      return (X[0].translation() - X[1].translation()).mag() +
             angleBetween(X[0].orientation(), X[1].orientation());
   };
   const bool isByDh = apart(dhFrames) < apart(frames);
   const Transform(&compared)[2] = isByDh ? dhFrames : frames;
   body.angle = angleBetween(compared[0].orientation(), compared[1].orientation());
   for (int k = 0; k < 2 && isByDh; ++k)
      body.points[k] = ofDh[k].translation();
   return body;
}

const ZqManipulatorLink* linkOf(const ZqIndividualManipulator& manipulator, ZqU32 index)
{
   return index == ZqBaseLinkIndex ? &manipulator.concreteReference()
                                   : manipulator.linkByIndex(index);
}

void prepare(Couple& couple)
{
   for (Joint& joint : couple.joints)
   {
      joint.sense = senseOf(couple, joint);
      couple.bodies.push_back(bodyOf(couple, *linkOf(*couple.manipulators[0], joint.first),
                                     *linkOf(*couple.manipulators[1], joint.second)));
   }
   couple.bodies.push_back(bodyOf(couple, *linkOf(*couple.manipulators[0], ZqBaseLinkIndex),
                                  *linkOf(*couple.manipulators[1], ZqBaseLinkIndex)));
}

/// At random, as far from the states of the scenes in both.
void setJoints(Couple& couple, Numbers& numbers)
{
   constexpr ZqReal farthest = std::numbers::pi;
   for (const auto& [a, b, sense] : couple.joints)
   {
      const ZqJointActuator& drive = couple.manipulators[0]->linkByIndex(a)->jointActuator();
      const ZqReal q = couple.own[0].jointPositions()[a];
      const ZqReal low = std::min(std::max(drive.lowerLimit() - q, -farthest), 0.0);
      const ZqReal high = std::max(std::min(drive.upperLimit() - q, farthest), 0.0);
      const ZqReal offset = numbers.between(low, high);
      const ZqReal rate = numbers.between(-1.0, 1.0);
      couple.positions[0].jointPositions()[a] = q + offset;
      couple.positions[1].jointPositions()[b] = couple.own[1].jointPositions()[b] + sense * offset;
      couple.velocities[0].jointVelocities()[a] = rate;
      couple.velocities[1].jointVelocities()[b] = sense * rate;
   }
}

void setBase(Couple& couple, Numbers& numbers)
{
   const ZqVector p = numbers.vector();
   const Transform move{p, ZqOrientation::exponential(numbers.vector() * std::numbers::pi)};
   const ZqVector linear = numbers.vector();
   const ZqGeneralMotion velocity(linear, numbers.vector());
   for (int k = 0; k < 2; ++k)
      if (!couple.manipulators[k]->isFixedBase())
      {
         couple.positions[k].setCoordSysXForm(move * couple.own[k].coordSysXForm());
         couple.velocities[k].setGeneralVelocity(velocity);
      }
}

void compareBodies(const Couple& couple, ZqU32 number, ZqMotionDifference& result)
{
   ZqManipulatorActiveState states[2];
   for (int k = 0; k < 2; ++k)
      states[k].setPositionState(couple.positions[k]);
   for (const Body& body : couple.bodies)
   {
      const ZqString place = couple.place(*body.links[0]);
      ZqVector points[2];
      ZqOrientation turns[2];
      for (int k = 0; k < 2; ++k)
      {
         const Transform& frame =
            body.links[k]->primaryFrameInSystem(states[k].activePositionState());
         points[k] = frame * body.points[k];
         turns[k] = frame.orientation() * body.orientations[k].inverse();
      }
      result.position.include((points[0] - points[1]).mag(), place, number);
      result.orientation.include(angleBetween(turns[0], turns[1]) + body.angle, place, number);
      result.mass.include(body.mass, place, number);
      result.inertia.include(body.inertia, place, number);
   }
}

void compareAccelerations(const Couple& couple, ZqU32 number, ZqMotionDifference& result)
{
   ZqAccelerationState accelerations[2];
   for (int k = 0; k < 2; ++k)
      ZqArbiAccelerationTool().acceleration(*couple.scenes[k], *couple.manipulators[k],
                                            couple.positions[k], couple.velocities[k], {}, {},
                                            accelerations[k], nullptr);
   const auto& a = accelerations[0].jointAccelerations();
   const auto& b = accelerations[1].jointAccelerations();
   const ZqGeneralMotion& baseA = accelerations[0].generalAcceleration();
   const ZqGeneralMotion& baseB = accelerations[1].generalAcceleration();
   ZqReal greatest = 1e-300;
   for (const auto& [i, j, sense] : couple.joints)
      greatest = std::max({greatest, std::abs(a[i]), std::abs(b[j])});
   for (ZqU32 i = 0; i < 6; ++i)
      greatest = std::max({greatest, std::abs(baseA[i]), std::abs(baseB[i])});
   for (const auto& [i, j, sense] : couple.joints)
      result.acceleration.include(std::abs(a[i] - sense * b[j]) / greatest,
                                  couple.place(*couple.manipulators[0]->linkByIndex(i)), number);
   for (ZqU32 i = 0; i < 6; ++i)
      result.acceleration.include(std::abs(baseA[i] - baseB[i]) / greatest,
                                  couple.place(couple.manipulators[0]->concreteReference()),
                                  number);
}

/// Finds the manipulators and joints of both, and notes the others.
std::vector<Couple> matched(const ZqStatedSystem& first, const ZqStatedSystem& second,
                            ZqMotionDifference& result)
{
   std::vector<Couple> couples;
   for (ZqU32 i = 0; i < first.numberOfManipulators(); ++i)
   {
      const ZqIndividualManipulator& a = *first.manipulatorByIndex(i);
      const ZqIndividualManipulator* const b = second.manipulatorByIdentifier(a.manipulatorLabel());
      if (b == nullptr)
      {
         result.onlyInFirst.push_back(a.manipulatorLabel());
         continue;
      }
      const ZqU32 j = b->manipulatorIndex();
      couples.push_back({{&first, &second},
                         {&a, b},
                         {first.state().positionStates()[i], second.state().positionStates()[j]},
                         {first.state().positionStates()[i], second.state().positionStates()[j]},
                         {first.state().velocityStates()[i], second.state().velocityStates()[j]}});
      const ZqString prefix = a.manipulatorLabel() + '/';
      std::map<ZqString, ZqU32> others;
      for (ZqU32 k = 0; k < b->jointDof(); ++k)
         others.emplace(b->linkByIndex(k)->linkLabel(), k);
      for (ZqU32 k = 0; k < a.jointDof(); ++k)
      {
         const ZqString& label = a.linkByIndex(k)->linkLabel();
         if (const auto found = others.find(label); found != others.end())
         {
            couples.back().joints.push_back({k, found->second});
            others.erase(found);
         }
         else
            result.onlyInFirst.push_back(prefix + label);
      }
      for (const auto& [label, index] : others)
         result.onlyInSecond.push_back(prefix + label);
   }
   for (ZqU32 i = 0; i < second.numberOfManipulators(); ++i)
      if (const ZqString& label = second.manipulatorByIndex(i)->manipulatorLabel();
          first.manipulatorByIdentifier(label) == nullptr)
         result.onlyInSecond.push_back(label);
   return couples;
}
} // namespace

void ZqMotionDifference::Deviation::include(ZqReal other, const ZqString& otherPlace,
                                            ZqU32 otherState)
{
   // What is not a number stays, once it is there.
   if (!(other <= value) && !std::isnan(value))
      *this = {other, otherPlace, otherState};
}

ZqMotionDifference ZqMotionDifference::between(const ZqStatedSystem& first,
                                               const ZqStatedSystem& second,
                                               const Settings& settings)
{
   ZqMotionDifference result;
   std::vector<Couple> couples = matched(first, second, result);
   for (Couple& couple : couples)
      prepare(couple);
   Numbers numbers(settings.seed);
   for (ZqU32 number = 0; number < settings.states; ++number)
      for (Couple& couple : couples)
      {
         setJoints(couple, numbers);
         setBase(couple, numbers);
         compareBodies(couple, number, result);
         compareAccelerations(couple, number, result);
      }
   return result;
}

bool ZqMotionDifference::isWithin(ZqReal tolerance) const
{
   return onlyInFirst.empty() && onlyInSecond.empty() && position.value <= tolerance &&
          orientation.value <= tolerance && mass.value <= tolerance && inertia.value <= tolerance &&
          acceleration.value <= tolerance;
}
