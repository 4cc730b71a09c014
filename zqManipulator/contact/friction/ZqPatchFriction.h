#pragma once

#include "zqManipulator/foundation/proximity/ZqContactMemory.h"

/// What friction over the points of a contact is computed from. Everything in axes of the system.
struct ZqPatchFrictionInput
{
   struct Body
   {
      ZqCoordinateSystemTransformation frame; ///< the primary frame in the system
      ZqGeneralMotion velocity;               ///< of that frame (m/s, rad/s)
   };
   struct Point
   {
      std::uint64_t name = 0;   ///< which features meet here
      ZqVector place;           ///< midway between the surfaces (m)
      ZqVector normal;          ///< unit, from body 1 to body 2
      ZqReal depth = 0.0;       ///< positive where the surfaces overlap (m)
      ZqReal weight = 0.0;      ///< its share of the patch's stiffness
      ZqReal normalForce = 0.0; ///< N
   };

   Body body1, body2;
   ZqVector normal;        ///< that of the contact as a whole, unit, from body 1 to body 2
   ZqReal time = 0.0;      ///< s
   ZqReal stiffness = 0.0; ///< of the pair's normal spring at the law's reference depth (N/m)
   ZqReal mass = 0.0;      ///< m1 m2 / (m1 + m2) of the bodies (kg)
   /// The materials' names; not owned, and not null.
   const ZqString* material1 = nullptr;
   const ZqString* material2 = nullptr;
   bool booksEnergy = true; ///< the output has its gain
   int count = 0;
   std::array<Point, ZqContactManifold::capacity> points; ///< in order round the patch
};

/// What it comes to: on body 1, and the opposite on body 2 at the same places. In axes of the system.
struct ZqPatchFriction
{
   std::array<ZqVector, ZqContactManifold::capacity>
      forces; ///< on each point, across its normal (N)
   std::array<ZqReal, ZqContactManifold::capacity> moments; ///< about its normal (N m)
   ZqReal energy = 0.0;                                     ///< stored (J)
   ZqReal loss = 0.0;                                       ///< by dampers (W)
   ZqReal slipLoss = 0.0;    ///< by yielding since the evaluation before (J)
   ZqReal stiffness = 0.0;   ///< of the whole patch across its normal (N/m)
   ZqReal dampingTime = 0.0; ///< damper by stiffness of points that stick (s)
   /// By points that came, went or changed their shares, where that is booked (J).
   ZqReal gain = 0.0;
};
