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
using Links = std::vector<std::pair<ZqU32, ZqU32>>;

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

/// A manipulator of both scenes.
struct Couple
{
   const ZqStatedSystem* scenes[2];
   const ZqIndividualManipulator* manipulators[2];
   ZqPositionState positions[2];
   ZqVelocityState velocities[2];
   Links links = {}; ///< the joints that both have, by index
   /// For each of them: by how much more its position is in the second scene, and where its frame there is in
   /// that of the first one. The last frames are those of the bases.
   std::vector<ZqReal> shifts = {};
   std::vector<ZqCoordinateSystemTransformation> offsets = {};
};

/// By the angle of the rotation from one to the other.
ZqReal angleBetween(const ZqOrientation& first, const ZqOrientation& second)
{
   const ZqOrientation q = first.inverse() * second;
   const ZqVector axis(q.x(), q.y(), q.z());
   return 2.0 * std::atan2(axis.mag(), std::abs(q.w()));
}

/// At random, the same for both.
void setJoints(Couple& couple, Numbers& numbers)
{
   constexpr ZqReal farthest = std::numbers::pi;
   for (std::size_t i = 0; i < couple.links.size(); ++i)
   {
      const auto& [a, b] = couple.links[i];
      const ZqJointActuator& drive = couple.manipulators[0]->linkByIndex(a)->jointActuator();
      const ZqReal low = std::min(std::max(drive.lowerLimit(), -farthest), drive.upperLimit());
      const ZqReal high = std::max(low, std::min(drive.upperLimit(), farthest));
      const ZqReal q = numbers.between(low, high);
      const ZqReal rate = numbers.between(-1.0, 1.0);
      couple.positions[0].jointPositions()[a] = q;
      couple.positions[1].jointPositions()[b] = q + couple.shifts[i];
      couple.velocities[0].jointVelocities()[a] = couple.velocities[1].jointVelocities()[b] = rate;
   }
}

void setBase(Couple& couple, Numbers& numbers)
{
   const ZqVector p = numbers.vector();
   const ZqOrientation q = ZqOrientation::exponential(numbers.vector() * std::numbers::pi);
   const ZqVector linear = numbers.vector();
   const ZqGeneralMotion velocity(linear, numbers.vector());
   for (int k = 0; k < 2; ++k)
      if (!couple.manipulators[k]->isFixedBase())
      {
         couple.positions[k].setCoordSysXForm({p, q});
         couple.velocities[k].setGeneralVelocity(velocity);
      }
}

const ZqManipulatorLink* linkOf(const ZqIndividualManipulator& manipulator, ZqU32 index)
{
   return index == ZqBaseLinkIndex ? &manipulator.concreteReference()
                                   : manipulator.linkByIndex(index);
}

Links withBase(const Links& links)
{
   Links all(links);
   all.emplace_back(ZqBaseLinkIndex, ZqBaseLinkIndex);
   return all;
}

/// The primary frames of the links in the system, or in the base.
std::vector<ZqCoordinateSystemTransformation> framesOf(const Couple& couple, int k, bool inBase)
{
   ZqManipulatorActiveState state;
   state.setPositionState(couple.positions[k]);
   const auto base = couple.manipulators[k]->dhFrameInSystem(state.activePositionState()).inverse();
   std::vector<ZqCoordinateSystemTransformation> frames;
   for (const auto& [a, b] : withBase(couple.links))
   {
      const ZqManipulatorLink& link = *linkOf(*couple.manipulators[k], k == 0 ? a : b);
      const auto& frame = link.primaryFrameInSystem(state.activePositionState());
      frames.push_back(inBase ? base * frame : frame);
   }
   return frames;
}

/// Takes the states in which the manipulators are for the same place.
void alignStates(Couple& couple)
{
   for (std::size_t i = 0; i < couple.links.size(); ++i)
      couple.shifts[i] = couple.positions[1].jointPositions()[couple.links[i].second] -
                         couple.positions[0].jointPositions()[couple.links[i].first];
   const auto first = framesOf(couple, 0, true);
   const auto second = framesOf(couple, 1, true);
   for (std::size_t i = 0; i < first.size(); ++i)
      couple.offsets[i] = first[i].inverse() * second[i];
}

void compareFrames(const Couple& couple, ZqU32 number, ZqMotionDifference& result)
{
   const auto framesOfFirst = framesOf(couple, 0, false);
   const auto framesOfSecond = framesOf(couple, 1, false);
   const Links all = withBase(couple.links);
   for (std::size_t i = 0; i < all.size(); ++i)
   {
      const ZqManipulatorLink& first = *linkOf(*couple.manipulators[0], all[i].first);
      const ZqManipulatorLink& second = *linkOf(*couple.manipulators[1], all[i].second);
      const auto& A = framesOfFirst[i];
      const auto B = framesOfSecond[i] * couple.offsets[i].inverse();
      const ZqString place = couple.manipulators[0]->manipulatorLabel() + '/' + first.linkLabel();
      result.position.include((A.translation() - B.translation()).mag(), place, number);
      result.orientation.include(angleBetween(A.orientation(), B.orientation()), place, number);
      // As plain numbers: the difference of two masses may be negative.
      const ZqReal massA = first.massProperties().mass();
      const ZqReal massB = second.massProperties().mass();
      result.mass.include(std::abs(massA - massB), place, number);
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
   for (const auto& [i, j] : couple.links)
      greatest = std::max({greatest, std::abs(a[i]), std::abs(b[j])});
   for (ZqU32 i = 0; i < 6; ++i)
      greatest = std::max({greatest, std::abs(baseA[i]), std::abs(baseB[i])});
   const ZqString label = couple.manipulators[0]->manipulatorLabel() + '/';
   for (const auto& [i, j] : couple.links)
      result.acceleration.include(std::abs(a[i] - b[j]) / greatest,
                                  label + couple.manipulators[0]->linkByIndex(i)->linkLabel(),
                                  number);
   for (ZqU32 i = 0; i < 6; ++i)
      result.acceleration.include(std::abs(baseA[i] - baseB[i]) / greatest,
                                  label + couple.manipulators[0]->concreteReference().linkLabel(),
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
            couples.back().links.emplace_back(k, found->second);
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
   {
      couple.shifts.resize(couple.links.size());
      couple.offsets.resize(couple.links.size() + 1);
      if (settings.startsAtStates)
         alignStates(couple);
   }
   Numbers numbers(settings.seed);
   for (ZqU32 number = 0; number < settings.states; ++number)
      for (Couple& couple : couples)
      {
         setJoints(couple, numbers);
         setBase(couple, numbers);
         compareFrames(couple, number, result);
         compareAccelerations(couple, number, result);
      }
   return result;
}

bool ZqMotionDifference::isWithin(ZqReal tolerance) const
{
   return onlyInFirst.empty() && onlyInSecond.empty() && position.value <= tolerance &&
          orientation.value <= tolerance && mass.value <= tolerance &&
          acceleration.value <= tolerance;
}
