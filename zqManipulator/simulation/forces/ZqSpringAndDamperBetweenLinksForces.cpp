#include "zqManipulator/simulation/interactions/ZqSpringAndDamperBetweenLinks.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/simulation/forces/ZqInteractionPlaces.h"

#include <algorithm>
#include <array>

namespace
{
/// One end of a spring, on a link.
struct SpringEnd
{
   ZqU32 manipulatorIndex;
   ZqU32 linkIndex;
   const ZqCoordinateSystemTransformation& offset;
   ZqManipulatorActiveState* state = nullptr;
   const ZqManipulatorLink* link = nullptr;

   bool findState(const ZqManipulatorSystem& system, ZqSystemActiveState& activeState)
   {
      state = zqActiveStateOf(manipulatorIndex, system, activeState);
      return state != nullptr;
   }
   bool findLink(const ZqManipulatorSystem& system)
   {
      link = system.manipulators()[manipulatorIndex].linkByIndex(linkIndex);
      return link != nullptr;
   }
   ZqCoordinateSystemTransformation frame() const
   {
      return link->primaryFrameInSystem(state->activePositionState()) * offset;
   }
   /// Of the end in the axes of the system; it turns with the link's primary frame.
   ZqGeneralMotion velocity() const
   {
      const ZqOrientation& axes =
         link->primaryFrameInSystem(state->activePositionState()).orientation();
      ZqGeneralMotion motion = link->primaryFrameVelocityInSystem(*state);
      motion.transformBy(axes * -offset.translation());
      return motion;
   }
   /// A force that stands in the system, in the D-H frame of the link.
   ZqGeneralForce onLink(const ZqGeneralForce& force) const
   {
      return link->dhFrameInSystem(state->activePositionState()).inverse() * force;
   }
};

/// How the ends stand and move to each other, in axes of the system.
struct SpringStretch
{
   SpringStretch(const SpringEnd& one, const SpringEnd& two) : A(one.frame()), B(two.frame())
   {
      d = B.translation() - A.translation();
      length = d.mag();
      (A.orientation().inverse() * B.orientation()).getAngleAxis(angle, axis);
      velocity1 = one.velocity();
      velocity2 = two.velocity();
      rate = velocity2 - velocity1;
   }

   ZqCoordinateSystemTransformation A, B;
   ZqVector d; ///< from A to B (m)
   ZqReal length;
   ZqReal angle = 0.0; ///< of B in A (rad)
   ZqVector axis;      ///< in axes of A
   ZqGeneralMotion velocity1, velocity2;
   ZqGeneralMotion rate; ///< of B against A
};
} // namespace

void ZqSpringAndDamperBetweenLinks::forceBetweenLinks(
   ZqSystemActiveState& activeState, const ZqManipulatorSystem& system, const ZqReal&,
   const ZqXmlVectorType<ZqManipulatorTorque>&,
   ZqXmlVectorType<ZqManipulatorExternalForce>& forces) const
{
   std::array ends{
      SpringEnd{m_manipulatorOneIndex, static_cast<ZqU32>(m_linkOneIndex), m_frameOffsetOne},
      SpringEnd{m_manipulatorTwoIndex, static_cast<ZqU32>(m_linkTwoIndex), m_frameOffsetTwo}};
   const auto findState = [&](SpringEnd& end)
   { return end.findState(system, activeState) && end.manipulatorIndex < forces.size(); };
   if (!std::all_of(ends.begin(), ends.end(), findState))
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqSpringAndDamperBetweenLinks::forceBetweenLinks - manipulator "
                                  "index out of range.\n");
      return;
   }
   const auto findLink = [&](SpringEnd& end) {
      return end.findLink(system) && forces[end.manipulatorIndex].forceOn(end.linkIndex) != nullptr;
   };
   if (!std::all_of(ends.begin(), ends.end(), findLink))
   {
      Zq::Print::instance().write(
         Zq::Rejected,
         "ZqSpringAndDamperBetweenLinks::forceBetweenLinks - link index out of range.\n");
      return;
   }
   const auto& [one, two] = ends;
   const SpringStretch s(one, two);

   // The spring pulls A towards B when it is longer, and turns it towards B when it is turned further,
   // than at rest.
   const ZqReal pull = (s.length - m_linearSpringOffset) * m_linearSpringConstant;
   const ZqReal twist = (s.angle - m_angularSpringOffset) * m_angularSpringConstant;
   ZqGeneralForce force(pull * (s.d / ZqMath::nonZeroPos(s.length)),
                        twist * (s.A.orientation() * s.axis));
   force += ZqGeneralForce(m_linearDamperConstant * s.rate.linear(),
                           m_angularDamperConstant * s.rate.angular());

   // From the middle of both to the origin of the system, and from there to the links.
   force.transformBy(0.5 * (s.A.translation() + s.B.translation()));
   forces[one.manipulatorIndex][one.linkIndex] += one.onLink(force);
   forces[two.manipulatorIndex][two.linkIndex] -= two.onLink(force);
}

ZqInteractionEnergy ZqSpringAndDamperBetweenLinks::energy(ZqSystemActiveState& activeState,
                                                          const ZqManipulatorSystem& system) const
{
   std::array ends{
      SpringEnd{m_manipulatorOneIndex, static_cast<ZqU32>(m_linkOneIndex), m_frameOffsetOne},
      SpringEnd{m_manipulatorTwoIndex, static_cast<ZqU32>(m_linkTwoIndex), m_frameOffsetTwo}};
   if (!std::all_of(ends.begin(), ends.end(),
                    [&](SpringEnd& end)
                    { return end.findState(system, activeState) && end.findLink(system); }))
      return {};
   const SpringStretch s(ends[0], ends[1]);
   const ZqReal pulled = s.length - m_linearSpringOffset;
   const ZqReal twisted = s.angle - m_angularSpringOffset;
   ZqInteractionEnergy energy;
   energy.linkSprings = 0.5 * (m_linearSpringConstant * pulled * pulled +
                               m_angularSpringConstant * twisted * twisted);
   // The force acts where A and B would meet half way: there the links part at another rate than A and B do.
   const ZqVector turned = s.velocity1.angular() + s.velocity2.angular();
   const ZqVector parting = s.rate.linear() - 0.5 * turned.cross(s.d);
   energy.linkDampers = m_linearDamperConstant * s.rate.linear().dot(parting) +
                        m_angularDamperConstant * s.rate.angular().magSquared();
   return energy;
}
