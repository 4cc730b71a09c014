#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <array>

/// Where the energy of a scene is, what was put into it, and where it went (J).
///
/// Work and losses are added up over the steps. Forces at joints and from outside, as of the evaluation with which
/// a step begins, act along dt (v0 + v1) / 2, with the velocities at its start and its end; what interactions lose is
/// their power at its start times dt. A loss that is negative has given energy back.
struct ZqEnergyBook
{
   /// A part of one of the sums. Those of each are told in the order of its `parts`.
   template <class Sum>
   struct Part
   {
      const char* name; ///< for people, of one book unlike
      const char* key;  ///< as the member is called
      ZqReal Sum::*value;
   };
   template <class Sum>
   static ZqReal totalOf(const Sum& sum) noexcept
   {
      ZqReal total = 0.0;
      for (const auto& part : Sum::parts)
         total += sum.*part.value;
      return total;
   }

   /// \name Held at present
   /// @{
   struct Held
   {
      ZqReal total() const noexcept { return totalOf(*this); }

      ZqReal kinetic = 0.0;        ///< of bodies and motors
      ZqReal gravity = 0.0;        ///< of the bodies, zero at the origin of the system
      ZqReal jointSprings = 0.0;   ///< at joints, in their stoppers and in flexible shafts
      ZqReal linkSprings = 0.0;    ///< in springs between links and of doors
      ZqReal contactSprings = 0.0; ///< where links touch

      static constexpr std::array<Part<Held>, 5> parts{
         {{"kinetic", "kinetic", &Held::kinetic},
          {"gravity", "gravity", &Held::gravity},
          {"joint springs", "jointSprings", &Held::jointSprings},
          {"link springs", "linkSprings", &Held::linkSprings},
          {"contact springs", "contactSprings", &Held::contactSprings}}};
   };
   Held held;
   Held heldAtStart;
   /// @}
   /// \name Put in since the start
   /// @{
   struct Work
   {
      ZqReal total() const noexcept { return totalOf(*this); }

      /// Torques at the motors along these. A motor without inertia before a flexible shaft does what the shaft
      /// asks for.
      ZqReal drives = 0.0;
      ZqReal externalForces = 0.0; ///< that are given
      /// Where attachments are not coupled, by what makes the joints and links of attached manipulators follow their
      /// carriers, on which these do not act back; else zero. It is the balance of these joints and links, so that
      /// nothing of them is left to the integrator. A carrier with the bases that load it is as any other
      /// manipulator.
      ZqReal carriers = 0.0;

      static constexpr std::array<Part<Work>, 3> parts{
         {{"work of drives", "drives", &Work::drives},
          {"work of external forces", "externalForces", &Work::externalForces},
          {"work of carriers", "carriers", &Work::carriers}}};
   };
   Work work;
   /// @}
   /// \name Lost since the start
   /// @{
   struct Loss
   {
      ZqReal total() const noexcept { return totalOf(*this); }

      /// Viscous and dry, with what springs hold where a motor sticks, in and out, and in gears: negative where a
      /// joint drives a motor through a gear with losses.
      ZqReal jointFriction = 0.0;
      /// At joints, in stoppers and flexible shafts; with all that stoppers do to the motors before these, and with
      /// what springs circulate where they couple joints unlike.
      ZqReal jointDampers = 0.0;
      ZqReal linkDampers = 0.0;     ///< between links and of doors
      ZqReal contactDampers = 0.0;  ///< along the normals
      ZqReal contactFriction = 0.0; ///< by slipping and by the dampers across the normals
      /// By springs that end, and where shares of contact points leap or points wander; of doors too. Negative where
      /// they gain.
      ZqReal released = 0.0;
      /// By stops at limits, highest rates and stopping criteria: negative where what these send back keeps the
      /// velocity that it fell with. And by attaching and releasing on the way, where attachments are coupled.
      ZqReal limits = 0.0;

      static constexpr std::array<Part<Loss>, 7> parts{
         {{"lost to joint friction", "jointFriction", &Loss::jointFriction},
          {"lost to joint dampers", "jointDampers", &Loss::jointDampers},
          {"lost to link dampers", "linkDampers", &Loss::linkDampers},
          {"lost to contact dampers", "contactDampers", &Loss::contactDampers},
          {"lost to contact friction", "contactFriction", &Loss::contactFriction},
          {"lost to released springs", "released", &Loss::released},
          {"lost to limits", "limits", &Loss::limits}}};
   };
   Loss lost;
   /// @}
   static constexpr std::size_t partCount =
      Held::parts.size() + Work::parts.size() + Loss::parts.size();

   /// Calls `action` with the name and the value of each part, by reference: of what is held, of work and of losses.
   template <class Book, class Action>
   static void forEachPart(Book& book, Action action)
   {
      forEachPartOf(book.held, action);
      forEachPartOf(book.work, action);
      forEachPartOf(book.lost, action);
   }
   /// Of one of the sums.
   template <class Sum, class Action>
   static void forEachPartOf(Sum& sum, Action action)
   {
      for (const auto& part : Sum::parts)
         action(part.name, sum.*part.value);
   }

   /// What the parts leave open. With `SemiImplicitEuler` it is the integrator's, and halves with the step. The others
   /// are more exact than these sums, so that with them it is mostly the book's own, of first order too.
   ZqReal remainder() const noexcept
   {
      return held.total() - heldAtStart.total() - work.total() + lost.total();
   }
};
