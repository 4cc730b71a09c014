#pragma once

#include "zqManipulator/foundation/spatial/ZqGeneralForce.h"

/// A force that a contact puts on a link, and where; both in the primary frame of the link.
class ZqShapeCollisionEvent
{
public:
   /// About the origin of the frame.
   const ZqGeneralForce& force() const noexcept { return m_force; }
   void setForce(const ZqGeneralForce& force) noexcept { m_force = force; }
   const ZqVector& point() const noexcept { return m_point; }
   void setPoint(const ZqVector& point) noexcept { m_point = point; }

private:
   ZqGeneralForce m_force;
   ZqVector m_point;
};
