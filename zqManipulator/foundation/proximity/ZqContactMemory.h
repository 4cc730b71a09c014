#pragma once

#include "zqManipulator/foundation/proximity/ZqProximity.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"

#include <array>
#include <limits>

/// Whether two surfaces stick, slide, or have just met.
enum class ZqFrictionMode : ZqU32
{
   Static = 0,
   Kinetic = 1,
   NewContact = 2
};

/// How one point of a contact holds on to both surfaces: the ends of its spring.
struct ZqPointGrip
{
   enum class State : std::uint8_t
   {
      Open,   ///< the surfaces do not overlap here, and nothing holds
      Sticks, ///< the ends stay where they are in the bodies
      Yields  ///< the ends follow, so that the spring holds what the surfaces bear
   };

   bool operator==(const ZqPointGrip&) const = default;

   std::uint64_t name = 0; ///< of the point
   ZqVector anchor1;       ///< in the primary frame of body 1 (m)
   ZqVector anchor2;       ///< in the primary frame of body 2 (m)
   ZqReal twist = 0.0;     ///< of the bodies about the normal, as far as it is stored (rad)
   ZqReal weight = 0.0;    ///< the point's share of the patch's stiffness
   ZqReal energy = 0.0;    ///< stored along the normal (J)
   ZqReal rate = 0.0;      ///< with which the bodies go into each other there (m/s)
   State state = State::Open;
};

/// What a contact remembers from one step to the next. With the state of the bodies it is all that the next
/// step depends on.
struct ZqContactMemory
{
   static constexpr int capacity = ZqContactManifold::capacity;

   bool operator==(const ZqContactMemory&) const = default;
   /// Exchanges the bodies.
   void exchangeSides() noexcept;

   /// Of the evaluation that left it (s); less than all times before the first.
   ZqReal time = -std::numeric_limits<ZqReal>::infinity();
   ZqFrictionMode frictionMode = ZqFrictionMode::NewContact;
   /// \name By body
   /// @{
   std::array<ZqVector, 2> stickPoint; ///< where sticking began, in the primary frame
   std::array<ZqCoordinateSystemTransformation, 2> stickFrame; ///< the primary frame then
   std::array<ZqGeneralMotion, 2> velocity;     ///< of the primary frame, in axes of the system
   std::array<ZqGeneralMotion, 2> lastVelocity; ///< that of the evaluation before
   /// @}
   bool isSlipping = false; ///< the patch as a whole
   /// \name Where shares of points leap
   /// @{
   ZqReal part = 1.0; ///< of the patch's stiffness that presses
   ZqReal reserve =
      0.0; ///< what leaps may still bring in: lost by the contact so far, less leaps (J)
   /// @}
   ZqReal tangentialEnergy = 0.0; ///< stored in the springs across the normal (J)
   int gripCount = 0;
   std::array<ZqPointGrip, capacity> grips; ///< in the order of the manifold's points
};

/// What the two bodies of a contact do to each other, as the last evaluation has it, for those who show or
/// add it up. Forces act on body 1, in axes of the system (N).
struct ZqContactResponse
{
   struct Point
   {
      ZqReal weight = 0.0;
      ZqReal normalForce = 0.0;
      ZqVector friction;
      ZqReal energy = 0.0; ///< stored along the normal, of laws that know it (J)
   };

   ZqVector normalForce;
   ZqVector frictionForce;
   /// \name What a step has to be short enough for, of laws that know it
   /// @{
   ZqReal stiffness =
      0.0; ///< the greater one of along the normal, at the present depth, and across (N/m)
   ZqReal dampingTime = 0.0; ///< the longest of the ratios of a damper to its spring (s)
   /// @}
   /// \name Where the law tells points apart: in the order of the manifold
   /// @{
   int pointCount = 0;
   std::array<Point, ZqContactManifold::capacity> points;
   /// @}
   /// \name Energy
   /// Where a law does not know what it stores, all that its forces take along the motion is lost, and below zero
   /// what they give back. That, and `patchGain`, is zero where energies are not booked.
   /// @{
   ZqReal normalEnergy = 0.0;     ///< stored in the springs along the normal (J)
   ZqReal tangentialEnergy = 0.0; ///< and in those across it (J)
   ZqReal normalLoss = 0.0;       ///< by the dampers along the normal (W)
   ZqReal tangentialLoss = 0.0;   ///< and by those across it (W)
   ZqReal slipLoss = 0.0;         ///< by yielding, since the evaluation before (J)
   /// By points that came, went, changed their shares or wandered over slanting surfaces, likewise (J).
   ZqReal patchGain = 0.0;
   /// @}
};
