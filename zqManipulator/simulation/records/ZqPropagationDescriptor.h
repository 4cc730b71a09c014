#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"

/// How a run looks for collisions, for whoever calls `ZqStatedSystem::propagateTo` step by step: the
/// tolerance is a distance (m), the fidelity a level of bounding volumes.
class ZqPropagationDescriptor : public ZqXmlClass<ZqPropagationDescriptor>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqPropagationDescriptorToken; }
   static constexpr const char* documentation = "how a run looks for collisions";
   template <class This = ZqPropagationDescriptor>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_checkForCollisions, &ZqManip::ZqCheckForCollisionsToken,
                     "whether it looks for any"},
         ZqComponent{&This::m_collisionDetectionTolerance,
                     &ZqManip::ZqCollisionDetectionToleranceToken,
                     "distance that counts as a collision (m)"},
         ZqComponent{&This::m_collisionDetectionFidelity,
                     &ZqManip::ZqCollisionDetectionFidelityToken, "level of bounding volumes"}};
   }
   bool operator==(const ZqPropagationDescriptor&) const = default;

   virtual bool checkForCollisions() const { return m_checkForCollisions; }
   virtual void setCheckForCollisions(bool check) { m_checkForCollisions = check; }
   virtual ZqReal collisionDetectionTolerance() const { return m_collisionDetectionTolerance; }
   virtual void setCollisionDetectionTolerance(ZqReal tolerance)
   {
      m_collisionDetectionTolerance = tolerance;
   }
   virtual ZqU32 collisionDetectionFidelity() const { return m_collisionDetectionFidelity; }
   virtual void setCollisionDetectionFidelity(ZqU32 fidelity)
   {
      m_collisionDetectionFidelity = fidelity;
   }

private:
   bool m_checkForCollisions = false;
   ZqReal m_collisionDetectionTolerance = 0.0;
   ZqU32 m_collisionDetectionFidelity = 0;
};
