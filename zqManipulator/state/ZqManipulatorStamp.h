#pragma once

#include <cstdint>

/// What the places and the shapes of a manipulator's links follow from. Two that are equal stand for the same
/// places of the same shapes; no state and no model that differ have one.
struct ZqManipulatorStamp
{
   std::uint64_t epoch = 0;       ///< of the active position state
   std::uint64_t givenFrames = 0; ///< when frames were given in that epoch
   std::uint64_t model = 0;       ///< version of the links

   bool operator==(const ZqManipulatorStamp&) const noexcept = default;
};
