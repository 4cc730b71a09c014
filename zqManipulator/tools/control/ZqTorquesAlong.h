#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

class ZqBaseTrajectory;
class ZqInputTable;
class ZqStatedSystem;

namespace Zq
{
/// The torques at the motors that take a manipulator of a scene along a trajectory, as a table of inputs: for a
/// simulation that begins on it, or to be saved for `zqsim run --inputs`. There is a line each time step (s) from the
/// time of the scene on, one at the end, and one a step after it, for the torques that hold the arm there; between
/// lines it is linear. Friction is compensated as by `ZqBaseController`. Nothing corrects an error: a motion along it
/// drifts away by what the model and the integration do not have.
///
/// False, with a message, when the controller refuses, and for a time step that is not above zero, or so short that
/// there would be more than ten million lines.
bool torquesAlong(const ZqBaseTrajectory& trajectory, const ZqStatedSystem& scene,
                  ZqU32 manipulator, ZqReal timeStep, ZqInputTable& table);
} // namespace Zq
