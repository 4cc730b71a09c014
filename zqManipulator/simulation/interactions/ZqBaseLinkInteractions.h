#pragma once

#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/bodies/ZqManipulatorTorque.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/simulation/interactions/ZqInteractionEnergy.h"

class ZqCoordinateSystemTransformation;
class ZqManipulatorSystem;
class ZqModelEdit;
class ZqSystemActiveState;
struct ZqModelScaling;

/// What acts between links of a scene, of one manipulator or of several.
class ZqBaseLinkInteractions : public ZqXmlAbstractClass<ZqBaseLinkInteractions, ZqXmlCompoundType>
{
public:
   bool operator==(const ZqBaseLinkInteractions&) const noexcept { return true; }

   /// Adds to the forces on the links of each manipulator, each in the D-H frame of its link; there is an
   /// entry for each manipulator, with one for each link. The time is in seconds. An interaction of
   /// links that there are not is logged, and adds nothing.
   ///
   /// What an interaction remembers is led on by it: one object serves one run, on one thread.
   virtual void forceBetweenLinks(ZqSystemActiveState& activeState,
                                  const ZqManipulatorSystem& system, const ZqReal& time,
                                  const ZqXmlVectorType<ZqManipulatorTorque>& torques,
                                  ZqXmlVectorType<ZqManipulatorExternalForce>& forces) const = 0;

   /// What it holds and loses of energy as of the last evaluation, which was one of this state; nothing where it
   /// does not know.
   virtual ZqInteractionEnergy energy(ZqSystemActiveState&, const ZqManipulatorSystem&) const
   {
      return {};
   }

   /// \name What it remembers from one evaluation to the next
   /// Contacts are not among it: they stand in the active state.
   /// @{
   /// As numbers, to be stored; none when there is nothing to remember. During a trial, what it was before.
   virtual ZqXmlVectorBasicType<ZqReal> memory() const { return {}; }
   /// Without numbers it begins anew. False, and no change, for numbers that are none of its own.
   virtual bool setMemory(const ZqXmlVectorBasicType<ZqReal>& memory) { return memory.size() == 0; }
   /// What is evaluated between the two leaves no trace in it.
   virtual void beginTrial() const {}
   virtual void endTrial() const {}
   /// @}
   /// Follows the manipulators and links that it speaks of. False when one of them is gone, and the
   /// interaction with it.
   virtual bool apply(const ZqModelEdit&) { return true; }
   /// Follows a change of size of a manipulator: frames and points on it go with its links. What acts between
   /// links of it alone grows as its joint springs do; what it shares with others stays as strong.
   virtual void scaleBy(const ZqModelScaling&) {}

protected:
   /// For setters: what is not finite is rejected with a message that names the operation, and changes
   /// nothing.
   /// @{
   static void take(ZqReal& member, ZqReal number, const char* operation);
   static void take(ZqCoordinateSystemTransformation& member,
                    const ZqCoordinateSystemTransformation& frame, const char* operation);
   /// @}
};
