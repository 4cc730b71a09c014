#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

/// What interactions hold of energy, and lose of it, as of their last evaluation.
struct ZqInteractionEnergy
{
   ZqInteractionEnergy& operator+=(const ZqInteractionEnergy& other) noexcept
   {
      linkSprings += other.linkSprings;
      contactSprings += other.contactSprings;
      linkDampers += other.linkDampers;
      contactDampers += other.contactDampers;
      friction += other.friction;
      slipped += other.slipped;
      released += other.released;
      return *this;
   }

   /// \name Held (J)
   /// @{
   ZqReal linkSprings = 0.0;    ///< in springs between links and of doors
   ZqReal contactSprings = 0.0; ///< along the normals and across them
   /// @}
   /// \name Lost at present (W)
   /// @{
   ZqReal linkDampers = 0.0;
   ZqReal contactDampers = 0.0;
   ZqReal friction = 0.0; ///< of contacts
   /// @}
   /// \name Lost since the evaluation before, by what happened at once (J)
   /// @{
   ZqReal slipped = 0.0; ///< where contacts yielded
   ZqReal released =
      0.0; ///< by springs that ended or whose share leaped; negative where they gained
   /// @}
};
