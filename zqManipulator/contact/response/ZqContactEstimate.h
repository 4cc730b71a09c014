#pragma once

#include "zqManipulator/foundation/proximity/ZqShapeKeys.h"

#include <optional>
#include <utility>
#include <vector>

class ZqBaseCollisionForceProcessor;
class ZqStatedSystem;
class ZqSystemActiveState;

/// What a law of contact asks of a simulation, estimated from the state of a scene before anything moves:
/// which step its stiffness and the masses take, whether it bears the weights, and whether bodies that stand on each
/// other stay there.
///
/// Of a contact with the force k d^e at the depth d, k' = k e d^(e-1) is the stiffness. The depth is that at
/// which the lighter link rests by its weight, or the present one where that is greater.
struct ZqContactEstimate
{
   struct Step
   {
      ZqLinkKey link1;
      ZqLinkKey link2;
      ZqReal longest; ///< s
   };
   struct Sinking
   {
      ZqLinkKey link1;
      ZqLinkKey link2;
      ZqReal depth; ///< m
   };
   struct Stack
   {
      std::vector<ZqLinkKey> links; ///< from the lowest to the highest
      ZqReal factor;                ///< by which the stiffness of its contacts has to grow
   };

   /// A law of a user's own is not known, and nothing is estimated of it; nor is anything of constants that
   /// are no stiffness.
   static ZqContactEstimate of(const ZqStatedSystem& scene, ZqSystemActiveState& activeState,
                               const ZqBaseCollisionForceProcessor& law);

   /// The pair of links that takes the shortest step, of those that may collide, and the longest one with
   /// which its contact does not ring up:
   ///
   ///     dt < sqrt(T^2 + 4 / w2) - T,    w2 = the sum of 4 k' (1 / m1 + 1 / m2),
   ///     T = the mean, weighted so, of damper / stiffness, along the normal or across
   ///
   /// The sum is over what a link touches now; two links that do not touch have one term. None when no two
   /// links may collide of which one can move.
   std::optional<Step> step;
   /// Of the pairs that touch or rest on each other within a millimetre.
   std::optional<Step> touchingStep;
   /// Of the longest step: beyond it, weights that are put on at once make bodies rock longer than they should.
   static constexpr ZqReal safePart = 0.65;

   /// Two links that may collide without force, by surfaces of which one has no stiffness.
   std::optional<std::pair<ZqLinkKey, ZqLinkKey>> forceless;

   /// The deepest rest of a link by its weight in another one that it may collide with, if that is deep:
   /// more than this part of the least extent of its box.
   static constexpr ZqReal deepRest = 0.1;
   std::optional<Sinking> sinking;

   /// Those that fold up: a stack on springs is a column of rigid bodies with springs at the joints
   /// (Hencky 1920), each of the stiffness of a contact patch against turning. It counts as soft unless it
   /// stands with two thirds of that: roughness costs up to one fourth. Only bodies without joints that rest
   /// on one other, on three points at least, are in a stack.
   std::vector<Stack> softStacks;
};
