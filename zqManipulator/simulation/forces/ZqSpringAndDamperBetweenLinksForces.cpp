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
   {
      end.state = zqActiveStateOf(end.manipulatorIndex, system, activeState, forces);
      return end.state != nullptr;
   };
   if (!std::all_of(ends.begin(), ends.end(), findState))
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqSpringAndDamperBetweenLinks::forceBetweenLinks - manipulator "
                                  "index out of range.\n");
      return;
   }
   const auto findLink = [&](SpringEnd& end)
   {
      end.link = system.manipulators()[end.manipulatorIndex].linkByIndex(end.linkIndex);
      return end.link != nullptr && forces[end.manipulatorIndex].forceOn(end.linkIndex) != nullptr;
   };
   if (!std::all_of(ends.begin(), ends.end(), findLink))
   {
      Zq::Print::instance().write(
         Zq::Rejected,
         "ZqSpringAndDamperBetweenLinks::forceBetweenLinks - link index out of range.\n");
      return;
   }
   const auto& [one, two] = ends;
   const ZqCoordinateSystemTransformation A = one.frame();
   const ZqCoordinateSystemTransformation B = two.frame();

   // The spring pulls A towards B when it is longer, and turns it towards B when it is turned further,
   // than at rest.
   const ZqVector d = B.translation() - A.translation();
   const ZqReal length = d.mag();
   const ZqReal pull = (length - m_linearSpringOffset) * m_linearSpringConstant;
   ZqReal angle = 0.0;
   ZqVector axis;
   (A.orientation().inverse() * B.orientation()).getAngleAxis(angle, axis);
   const ZqReal twist = (angle - m_angularSpringOffset) * m_angularSpringConstant;
   ZqGeneralForce force(pull * (d / ZqMath::nonZeroPos(length)), twist * (A.orientation() * axis));

   const ZqGeneralMotion velocity = two.velocity() - one.velocity();
   force += ZqGeneralForce(m_linearDamperConstant * velocity.linear(),
                           m_angularDamperConstant * velocity.angular());

   // From the middle of both to the origin of the system, and from there to the links.
   force.transformBy(0.5 * (A.translation() + B.translation()));
   forces[one.manipulatorIndex][one.linkIndex] += one.onLink(force);
   forces[two.manipulatorIndex][two.linkIndex] -= two.onLink(force);
}
