#pragma once

#include "zqManipulator/foundation/spatial/ZqGeneralForce.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"

/// What a law of friction answers: the force on each body, in its primary frame and about the origin of that,
/// and whether they stick.
class ZqDissipativeForceOutput : public ZqXmlClass<ZqDissipativeForceOutput>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqDissipativeForceOutputToken; }
   static constexpr const char* documentation = "forces of friction";
   bool operator==(const ZqDissipativeForceOutput&) const = default;

   virtual const ZqGeneralForce& body1ForcePrimary() const { return m_body1ForcePrimary; }
   virtual void setBody1ForcePrimary(const ZqGeneralForce& force) { m_body1ForcePrimary = force; }
   virtual const ZqGeneralForce& body2ForcePrimary() const { return m_body2ForcePrimary; }
   virtual void setBody2ForcePrimary(const ZqGeneralForce& force) { m_body2ForcePrimary = force; }
   virtual const bool& inStaticFrictionMode() const { return m_inStaticFrictionMode; }
   virtual void setInStaticFrictionMode(bool isStatic) { m_inStaticFrictionMode = isStatic; }

private:
   bool m_inStaticFrictionMode = true;
   ZqGeneralForce m_body1ForcePrimary;
   ZqGeneralForce m_body2ForcePrimary;
};

extern template class ZqXmlClass<ZqDissipativeForceOutput>;
