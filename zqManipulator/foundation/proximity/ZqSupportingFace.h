#pragma once

#include "zqManipulator/foundation/geometry/ZqConvex.h"

namespace zqConvex
{
/// What a core turns towards a direction: a face, else an edge, else a vertex, in the core's frame.
///
/// It is the face that looks that way best, if it leans by less than 30 degrees; else the edge that lies
/// most nearly across, if it leans by less than 15 degrees; else the furthest vertex. A cap is a disc, of
/// which eight points of the rim stand for the rest: they stay where they are in the body, whichever way it
/// is looked at. Of a mantle it is the line below the direction.
struct SupportingFace
{
   /// Of a face with more corners every second, third, ... is left out.
   static constexpr int capacity = 64;
   static constexpr int rimPoints = 8;

   int count;   ///< of corners: 1 a vertex, 2 an edge, more a face
   bool isDisc; ///< a round face; the corners are the points of its rim
   Vec3
      normal; ///< unit, outward; of an edge the direction that is across it, of a vertex the direction
   Vec3 axis;     ///< of a face: unit, in its plane; of a disc towards its first corner
   Vec3 middle;   ///< of a disc
   ZqReal radius; ///< of a disc
   int rim;       ///< of a disc: which rim of the core
   int
      rimVertex; ///< of a disc: which vertex the place of the rim is that a leaning disc touches with
   Vec3 corner[capacity]; ///< counter-clockwise about the normal
   int vertex[capacity];  ///< which vertices of the core the corners are
};

/// For a direction of unit length; not of a half-space. `at` is where a polytope begins to look, and receives
/// the vertex that is furthest.
void supportingFace(const ZqConvex& core, const Vec3& d, int& at, SupportingFace& face) noexcept;

/// Moves a face into the frame that X places it in.
void placeFace(const Pose& X, SupportingFace& face) noexcept;

/// Names of features, which are never 0: of a vertex, of the edge between two vertices, and of the crossing of
/// a rim, where a walk about the face's normal leaves the other side's face or enters it.
/// @{
std::uint32_t vertexName(int vertex) noexcept;
std::uint32_t edgeName(const ZqConvex& core, int vertex, int other) noexcept;
std::uint32_t rimName(const SupportingFace& disc, bool leaves, int ordinal = 0) noexcept;
/// @}
} // namespace zqConvex
