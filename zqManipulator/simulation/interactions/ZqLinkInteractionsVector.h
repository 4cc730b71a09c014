#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlVariableVectorType.h"
#include "zqManipulator/simulation/interactions/ZqBaseLinkInteractions.h"

extern template class ZqXmlVariableVectorType<ZqBaseLinkInteractions>;

/// What acts between the links of a scene, in the order in which it is added up.
class ZqLinkInteractionsVector : public ZqXmlVariableVectorType<ZqBaseLinkInteractions>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqManip::ZqLinkInteractionsVectorToken; }
   static ZqXmlObject* creator() { return new ZqLinkInteractionsVector(); }
   const ZqToken& token() const override;
   void registerComponentCreators() override;
   static ZqLinkInteractionsVector nullObject() { return {}; }
   bool operator==(const ZqLinkInteractionsVector&) const = default;

   /// Sets the forces on each link of each manipulator to the sum of what all interactions do to it, in
   /// the D-H frame of the link. The list gets an entry for each manipulator, with one for each link.
   /// The time is in seconds. Nothing is allocated once sizes have settled.
   void computeForces(ZqSystemActiveState& activeState, const ZqManipulatorSystem& system,
                      const ZqReal& time, const ZqXmlVectorType<ZqManipulatorTorque>& torques,
                      ZqXmlVectorType<ZqManipulatorExternalForce>& forces) const;
   /// The sum of what each holds and loses as of the last evaluation, which was one of this state. Of several laws of
   /// contact, which share their records, only the last is in it.
   ZqInteractionEnergy energy(ZqSystemActiveState& activeState,
                              const ZqManipulatorSystem& system) const;
   /// What is evaluated between the two leaves no trace in what the interactions remember.
   void beginTrial() const;
   void endTrial() const;
   /// Those that speak of a manipulator or link that is gone are removed, with a message; the others
   /// follow.
   void apply(const ZqModelEdit& edit);
   void scaleBy(const ZqModelScaling& scaling);
};
