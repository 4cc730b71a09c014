#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

/// Where the energy of a scene is, what was put into it, and where it went (J).
///
/// Work and losses are added up over the steps: forces as of the evaluation with which a step begins, along the
/// way that the step makes. What is left in the balance is the integrator's: it goes to zero with the length of
/// the step, to first order at least.
struct ZqEnergyBook
{
   /// \name Held at present
   /// @{
   struct Held
   {
      ZqReal total() const noexcept
      {
         return kinetic + gravity + jointSprings + linkSprings + contactSprings;
      }

      ZqReal kinetic = 0.0;        ///< of bodies and motors
      ZqReal gravity = 0.0;        ///< of the bodies, zero at the origin of the system
      ZqReal jointSprings = 0.0;   ///< at joints, in their stoppers and in flexible shafts
      ZqReal linkSprings = 0.0;    ///< in springs between links and of doors
      ZqReal contactSprings = 0.0; ///< where links touch
   };
   Held held;
   Held heldAtStart;
   /// @}
   /// \name Put in since the start
   /// @{
   struct Work
   {
      ZqReal total() const noexcept { return drives + externalForces + carriers; }

      /// Torques at the motors along these. A motor without inertia before a flexible shaft does what the shaft
      /// asks for.
      ZqReal drives = 0.0;
      ZqReal externalForces = 0.0; ///< that are given
      /// By what makes attached manipulators follow their carriers, which does not act back on these. It is the
      /// balance of these manipulators, so that nothing of them is left to the integrator.
      ZqReal carriers = 0.0;
   };
   Work work;
   /// @}
   /// \name Lost since the start
   /// @{
   struct Loss
   {
      ZqReal total() const noexcept
      {
         return jointFriction + jointDampers + linkDampers + contactDampers + contactFriction +
                limits;
      }

      /// Viscous and dry, with what springs hold where a motor sticks, in and out, and in gears: negative where a
      /// joint drives a motor through a gear with losses.
      ZqReal jointFriction = 0.0;
      /// At joints, in stoppers and flexible shafts; with all that stoppers do to the motors before these, and with
      /// what springs circulate where they couple joints unlike.
      ZqReal jointDampers = 0.0;
      ZqReal linkDampers = 0.0;     ///< between links and of doors
      ZqReal contactDampers = 0.0;  ///< with what springs hold that end
      ZqReal contactFriction = 0.0; ///< by slipping and by the dampers across the normals
      /// By stops at limits, highest rates and stopping criteria: negative where what these send back keeps the
      /// velocity that it fell with.
      ZqReal limits = 0.0;
   };
   Loss lost;
   /// @}

   /// What the parts leave open: the integrator's.
   ZqReal remainder() const noexcept
   {
      return held.total() - heldAtStart.total() - work.total() + lost.total();
   }
};
