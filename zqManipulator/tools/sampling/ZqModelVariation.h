#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

class ZqStatedSystem;
class ZqVariationOrigin;

namespace Zq
{
/// Varies a scene as an origin tells: by the deviations of its study, its seed and its number of a sample. `varied`,
/// which may be the scene itself, becomes the varied scene, and keeps the origin.
///
/// What is drawn for a link, or for the state of a manipulator, follows from the seed, the sample and its index
/// alone: another deviation, a link more behind them or a sample more leave the others as they are, and samples may
/// be made in any order by any number of threads. The bits are the same on every platform (`ZqRandom`), except that
/// loops are closed to the bits that a simulation closes them to. What has no deviation stays exactly as it is; a
/// study of zeros gives the scene itself.
///
/// | part      | how it is drawn                                                                      |
/// |-----------|--------------------------------------------------------------------------------------|
/// | joint     | `getRandomLinkKinematics`                                                            |
/// | mass      | of the bare link: `getPossibleMassProperty`; masses by name stay                     |
/// | drive     | `getPossibleJointActuator`                                                           |
/// | surfaces  | of the link's own shapes: `getPossibleSurfaceProperty`, by all records of the material |
/// | base      | `getRandomPositionState`; one that is attached follows its carrier                   |
/// | positions | `getRandomPositionState`; one within its limits is folded back into those drawn      |
/// | rates     | `getRandomVelocityState`; a base that is fixed or attached keeps its velocity        |
///
/// So the varied scene is as possible as the scene is: no mass, stiffness or greatest torque gets negative, each
/// body is one that can be, and lower limits stay below upper ones. Manipulators and links that shared a model and
/// differ afterwards have models of their own. What is merged into a link has its part of a mass that was drawn.
///
/// Loops of constraints are closed, by `ZqConstraintProjection`, in every manipulator of which joints or state
/// have changed. Where joints that have moved do not let them close, or take away a freedom, as in a plane mechanism
/// whose axes are no longer parallel, the manipulator keeps the joints of the scene, and where that does not help, its
/// positions and rates; a warning with the code "variation-loop" tells.
///
/// False, with a message, for deviations that are negative, not finite or too great, and for a study that names a
/// manipulator or a link that the scene does not have; `varied` then stays as it was.
bool varyModel(const ZqStatedSystem& scene, const ZqVariationOrigin& origin,
               ZqStatedSystem& varied);
} // namespace Zq
