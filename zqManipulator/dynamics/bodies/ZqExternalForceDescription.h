#pragma once

#include "zqManipulator/foundation/algebra/ZqCacheFlag.h"
#include "zqManipulator/foundation/geometry/ZqLineSegment.h"
#include "zqManipulator/foundation/spatial/ZqGeneralForce.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"

/// A force on a link, and the point where it acts, for reports and display; all in one frame.
///
/// A document holds it as an element without content, which is read back without changing anything.
class ZqExternalForceDescription : public ZqXmlClass<ZqExternalForceDescription>
{
public:
   ZqExternalForceDescription() noexcept = default;
   ZqExternalForceDescription(const ZqExternalForceDescription& other) noexcept
      : ZqXmlClass(other), m_externalLinkForce(other.m_externalLinkForce),
        m_forceApplicationPoint(other.m_forceApplicationPoint), m_valid(other.m_valid)
   {
   }
   /// The line that was handed out stays.
   ZqExternalForceDescription& operator=(const ZqExternalForceDescription& other) noexcept
   {
      ZqXmlClass::operator=(other);
      m_externalLinkForce = other.m_externalLinkForce;
      m_forceApplicationPoint = other.m_forceApplicationPoint;
      m_valid = other.m_valid;
      m_lineIsValid.lower();
      return *this;
   }
   ~ZqExternalForceDescription() override = default;

   static const ZqToken& classToken() { return ZqManip::ZqExternalForceDescriptionToken; }
   static constexpr const char* documentation = "a force on a link for reports; without content";
   static ZqExternalForceDescription nullObject() noexcept { return {}; }
   bool operator==(const ZqExternalForceDescription& other) const noexcept
   {
      return m_externalLinkForce == other.m_externalLinkForce &&
             m_forceApplicationPoint == other.m_forceApplicationPoint && m_valid == other.m_valid;
   }

   /// Whether there is such a force.
   virtual const bool& valid() const { return m_valid; }
   virtual void setValid(const bool& valid) { m_valid = valid; }
   const ZqGeneralForce& externalLinkForce() const noexcept { return m_externalLinkForce; }
   void setExternalLinkForce(const ZqGeneralForce& force) noexcept
   {
      m_externalLinkForce = force;
      m_lineIsValid.lower();
   }
   const ZqVector& forceApplicationPoint() const noexcept { return m_forceApplicationPoint; }
   void setForceApplicationPoint(const ZqVector& point) noexcept
   {
      m_forceApplicationPoint = point;
   }
   /// The force as an arrow on its line of action, from the point nearest to the origin. The null
   /// segment for a force of zero or NaN, and when `valid` is false. The reference is to a cache,
   /// which the next call for another force overwrites.
   const ZqLineSegment& representativeForceVector() const;

private:
   ZqGeneralForce m_externalLinkForce;
   ZqVector m_forceApplicationPoint;
   mutable ZqLineSegment m_representativeLine;
   mutable ZqCacheFlag m_lineIsValid;
   bool m_valid = false;
};

extern template class ZqXmlClass<ZqExternalForceDescription>;
