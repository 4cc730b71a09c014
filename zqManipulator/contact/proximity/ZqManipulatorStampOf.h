#pragma once

#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqManipulatorActivePositionState.h"
#include "zqManipulator/state/ZqManipulatorStamp.h"

inline ZqManipulatorStamp zqStampOf(const ZqIndividualManipulator& manipulator,
                                    const ZqManipulatorActivePositionState& state)
{
   return {state.epoch(), state.givenFrames(), manipulator.shapesVersion()};
}
