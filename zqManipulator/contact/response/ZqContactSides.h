#pragma once

#include "zqManipulator/contact/forces/ZqBaseCollisionForceProcessor.h"
#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"

#include <array>

class ZqBaseDissipativeForceProcessor;
class ZqDataMap;
class ZqManipulatorActiveState;
class ZqManipulatorLink;

/// One of the two links of a contact, as laws of contact see it. Nothing is owned.
struct ZqContactSide
{
   const ZqManipulatorLink* link = nullptr;
   const ZqShape* shape = nullptr;            ///< null when the link has none of the number
   ZqManipulatorActiveState* state = nullptr; ///< of the link's manipulator
   ZqU32 manipulatorIndex = 0;
   ZqU32 closestPointIndex = 0;
   ZqCoordinateSystemTransformation frame; ///< the primary frame in the system
   ZqGeneralMotion velocity;               ///< of that frame, in axes of the system
   ZqVector contactPoint;                  ///< in the primary frame
   ZqVector collisionPoint;                ///< midway between the surfaces, in the primary frame
};

/// A spatial force on each of two bodies, in its primary frame and about the origin of that.
using ZqContactForces = std::array<ZqGeneralForce, 2>;

/// What friction by one patch takes for all contacts alike.
struct ZqContactPatch
{
   ZqReal actionRadius = 0.1;   ///< of the patch (m)
   ZqReal linearInertia = 1.0;  ///< along the normal (kg)
   ZqReal angularInertia = 0.5; ///< about the normal (kg m^2)
};

/// The values of a surface: those of the shape, which may be null, else those that the link finds. Null when
/// neither has any.
const ZqDataMap* zqSurfaceValues(const ZqManipulatorLink& link, const ZqShape* shape,
                                 const ZqString& surface);

/// Both links of a contact in a state: where laws take what they need, and leave what they come to. Nothing is
/// allocated, and no surface looked up before it is asked for.
class ZqContactSides
{
public:
   ZqContactSides(const ZqShapeCollisionData& data, ZqSystemActiveState& activeState);

   /// Whether the record knows both links, and the state both manipulators. Without that nothing below
   /// may be called.
   bool areThere() const noexcept { return m_areThere; }
   /// Whether the response is to have what nobody but a book of energies asks for.
   bool booksEnergy() const noexcept { return m_booksEnergy; }
   /// Whether contact of the two shapes makes no force.
   bool areInert() const;
   const ZqContactSide& operator[](std::size_t side) const noexcept { return m_sides[side]; }

   /// \name Surfaces of a side, as a law names them
   /// @{
   const ZqString& surfaceKey(const ZqBaseCollisionForceProcessor& law, std::size_t side) const;
   /// The values of the surface; null when there are none.
   const ZqDataMap* surface(const ZqBaseCollisionForceProcessor& law, std::size_t side) const;
   const ZqString& material(const ZqBaseCollisionForceProcessor& law, std::size_t side) const;
   /// @}

   /// The forces of a law of friction that looks at the contact as one patch, for a normal force on the
   /// first body in axes of the system; the record keeps the mode, and where sticking began. False, and no
   /// change of the forces, when the law fails.
   bool computeFriction(const ZqBaseCollisionForceProcessor& law,
                        const ZqBaseDissipativeForceProcessor& friction,
                        const ZqContactPatch& patch, const ZqVector& normalForce,
                        ZqShapeCollisionData& data, ZqContactForces& forces) const;

   /// What forces take along the motion of the two links (W).
   ZqReal powerTaken(const ZqContactForces& forces) const;
   /// Adds both forces to those on the two links, unless these are inert, and leaves both in the response of the
   /// record, with what they take as losses where energies are booked; the rest of the response stays. Their sums,
   /// each in the D-H frame of its link.
   ZqContactForces add(const ZqContactForces& repulsion, const ZqContactForces& friction,
                       ZqShapeCollisionData& data,
                       ZqXmlVectorType<ZqManipulatorExternalForce>& forces) const;
   /// Adds the sums of all that acts to those on the two links, likewise; the response stays.
   ZqContactForces add(const ZqContactForces& whole,
                       ZqXmlVectorType<ZqManipulatorExternalForce>& forces) const;
   /// Describes forces in the state of forces, each in the D-H frame of its link. They add up over the contacts
   /// of a step, and so do the points of application.
   void describe(const ZqContactForces& forces) const;
   /// Both.
   void deliver(const ZqContactForces& repulsion, const ZqContactForces& friction,
                ZqShapeCollisionData& data,
                ZqXmlVectorType<ZqManipulatorExternalForce>& forces) const
   {
      describe(add(repulsion, friction, data, forces));
   }
   void deliver(const ZqContactForces& whole,
                ZqXmlVectorType<ZqManipulatorExternalForce>& forces) const
   {
      describe(add(whole, forces));
   }

private:
   std::array<ZqContactSide, 2> m_sides;
   bool m_areThere = false;
   bool m_booksEnergy;
};
