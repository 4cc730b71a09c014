#pragma once

#include "zqManipulator/foundation/geometry/ZqConvexAlgebra.h"

#include <cstdint>

/// How far apart two shapes are, and where they are nearest.
struct ZqSeparation
{
   /// m; of shapes that overlap, minus the least translation that parts them. 1e300 when there is
   /// nothing to part, -1e300 when no translation does.
   ZqReal distance = 1e300;
   /// What the distance may be off by: the true one is not below `distance - error` for shapes
   /// apart, and not above `distance + error` for shapes that overlap.
   ZqReal error = 0.0;
   /// Unit, from the first shape to the second, in the frame of the first.
   ZqVector normal = ZqVector(0.0, 0.0, 1.0);
   /// The nearest points, or those deepest in the other shape; each in the frame of its own shape.
   ZqVector point1;
   ZqVector point2;
   int iterations = 0;
   /// The members that are nearest, in compounds.
   ZqU32 part1 = 0;
   ZqU32 part2 = 0;
};

/// One place where two shapes touch or nearly touch.
struct ZqContactPoint
{
   /// On the first and on the second shape, both in the frame of the first.
   ZqVector point1;
   ZqVector point2;
   /// Unit, from the first shape to the second, in the frame of the first. One for all points of
   /// two convex shapes.
   ZqVector normal;
   /// m, along the normal; negative where the shapes overlap.
   ZqReal separation = 0.0;
   /// Which features meet here. It is the same in the next step as long as the same ones do, and no
   /// two points of a contact have the same.
   std::uint64_t name = 0;
};

/// The places where two shapes touch, in a stable order.
struct ZqContactManifold
{
   static constexpr int capacity = 8;

   /// That of the shapes as a whole (m), signed.
   ZqReal separation = 1e300;
   ZqVector normal = ZqVector(0.0, 0.0, 1.0);
   int count = 0;
   ZqContactPoint points[capacity];
};

/// What a pair of convex shapes keeps from one query to the next, so that the next begins where
/// this one ended. It may be copied, and forgotten at any time: answers with and without it agree
/// within their error.
struct ZqPairCache
{
   std::int8_t count = 0; ///< of points
   bool overlapped = false;
   int atA = 0, atB = 0; ///< where polytopes begin to look
   /// Which two cores it is of, in this order. A query of others empties it.
   std::uint64_t cores = 0;
   /// Of the features that are nearest or deepest, each in the frame of its own core: so they are
   /// points of the shapes after any motion.
   zqConvex::Vec3 a[4], b[4];
   /// Of an overlap: the normal in the first core's frame, and the last proof that no direction
   /// needs less: the depth was `lower` at least when the second core stood at `pose` in the first
   /// one's frame, and it takes a motion of more than `reliable` from there until one that is not
   /// near the normal may need less.
   zqConvex::Vec3 normal;
   ZqReal lower = 0.0;
   ZqReal reliable = 0.0;
   zqConvex::Pose pose;
};
