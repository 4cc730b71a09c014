#pragma once

#include "zqManipulator/contact/forces/ZqMassSpringCollisionForceProcessor.h"

/// The spring and damper at one point of a contact, without patches: -(k d^e + |d| c v.n) n on body 1.
///
/// The damper grows with the depth, so the force sets in without a jump; c is then in N s/m^2. Nothing keeps the
/// force from pulling: bodies that part fast hold on to each other until they are apart.
class ZqMassSpringDamperCollisionForceProcessor
   : public ZqXmlClass<ZqMassSpringDamperCollisionForceProcessor,
                       ZqMassSpringCollisionForceProcessor>
{
public:
   static const ZqToken& classToken()
   {
      return ZqManip::ZqMassSpringDamperCollisionForceProcessorToken;
   }
   static constexpr const char* documentation = "spring and damper at one point of a contact";
   bool operator==(const ZqMassSpringDamperCollisionForceProcessor&) const = default;

   /// As that of the base, with its own force and without regions.
   bool process(ZqShapeCollisionData& data, ZqSystemActiveState& activeState,
                const ZqXmlVectorType<ZqManipulatorTorque>& torques,
                ZqXmlVectorType<ZqManipulatorExternalForce>& forces,
                const ZqReal& time) const override;

   using ZqMassSpringCollisionForceProcessor::computeRepulsionForce;
   /// The force on body 1, in axes of the system, and the spatial force on each body, in its primary frame.
   /// Nothing is set when the shapes do not overlap or a link is missing. True.
   virtual bool computeRepulsionForce(const ZqShapeCollisionData& data,
                                      ZqSystemActiveState& activeState, ZqVector& normalForce,
                                      ZqGeneralForce& force1, ZqGeneralForce& force2) const;
   /// Describes the forces on both links, each in its D-H frame, in the state of forces. They add up over the
   /// contacts of a step, and so do the points of application.
   virtual bool updateCollisionAndForceData(const ZqShapeCollisionData& data,
                                            ZqSystemActiveState& activeState,
                                            const ZqGeneralForce& force1,
                                            const ZqGeneralForce& force2) const;

protected:
   static constexpr ZqReal m_theDefaultDistanceTolerance = 0.01;
};

extern template class ZqXmlClass<ZqMassSpringDamperCollisionForceProcessor,
                                 ZqMassSpringCollisionForceProcessor>;
