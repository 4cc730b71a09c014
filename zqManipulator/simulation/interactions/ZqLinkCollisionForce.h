#pragma once

#include "zqManipulator/contact/forces/ZqCollisionForceContainer.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/simulation/interactions/ZqBaseLinkInteractions.h"
#include "zqManipulator/state/ZqUncopied.h"

#include <memory>

class ZqManipulatorCollisionTool;

/// Contact forces: finds where links touch, and has a law say what they do to each other there.
///
/// Looked at are the pairs of links that may collide, by the self collision maps of manipulators and the
/// collision exclusion map of the system, and whose boxes in the active state overlap. Those are
/// boxes around the true shapes: a bounding volume that reaches out of its shape's box touches nothing there.
/// Links that cannot move are looked at as well; an exclusion saves the look.
class ZqLinkCollisionForce : public ZqXmlClass<ZqLinkCollisionForce, ZqBaseLinkInteractions>
{
public:
   static const ZqToken& classToken() { return ZqGeom::ZqLinkCollisionForceToken; }
   static constexpr const char* documentation = "forces between links that touch";
   template <class This = ZqLinkCollisionForce>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_collisionForceContainer, &ZqManip::ZqCollisionForceContainerToken,
                     "the law of the forces"},
         ZqComponent{&This::m_precisionLevel, &ZqManip::ZqCollisionBvhPrecisionLevelToken,
                     "level of the bounding volumes that touch, 0 for the true shapes"}};
   }
   static ZqLinkCollisionForce nullObject() { return {}; }
   bool operator==(const ZqLinkCollisionForce&) const = default;

   /// Nothing without a law. It walks over all valid records of contacts in the active state, so that a
   /// second one of these adds its forces to the same contacts.
   void forceBetweenLinks(ZqSystemActiveState& activeState, const ZqManipulatorSystem& system,
                          const ZqReal& time, const ZqXmlVectorType<ZqManipulatorTorque>& torques,
                          ZqXmlVectorType<ZqManipulatorExternalForce>& forces) const override;

   /// Of the contacts that are valid in the active state: so it has to be asked before they are invalidated. A spring
   /// along the normal gives back what it holds as its contact ends, those across it release it. A contact that
   /// begins holds at once what the motion of the step stored, O(dt^2) of it: nobody is told to have put it in.
   /// Each of several of these answers the same, that of the one whose forces came last.
   ZqInteractionEnergy energy(ZqSystemActiveState& activeState,
                              const ZqManipulatorSystem& system) const override;

   virtual const ZqU32& precisionLevel() const { return m_precisionLevel; }
   /// The `boundingVolumeLevel` of the tool that looks for contacts: of a shape the first volume counts, from
   /// coarse to fine, whose level is not above it.
   virtual void setPrecisionLevel(ZqU32 level) { m_precisionLevel = level; }
   virtual void setCollisionForceContainer(const ZqCollisionForceContainer& container)
   {
      m_collisionForceContainer = container;
   }
   virtual const ZqCollisionForceContainer& collisionForceContainer() const
   {
      return m_collisionForceContainer;
   }

protected:
   /// Not used by this class (m).
   static constexpr ZqReal m_theBoundaryTolerance = 1e-6;

private:
   ZqManipulatorCollisionTool& tool() const;

   ZqCollisionForceContainer m_collisionForceContainer;
   ZqU32 m_precisionLevel = 0;
   mutable ZqUncopied<std::shared_ptr<ZqManipulatorCollisionTool>> m_tool; ///< made at first use
};

extern template class ZqXmlClass<ZqLinkCollisionForce, ZqBaseLinkInteractions>;
