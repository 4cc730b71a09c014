#pragma once

class ZqIndividualManipulator;
class ZqManipulatorActiveState;

/// Brings the motors in a tool's own active state to where its joints are: all of them the first time,
/// those of rigid drives, which cannot be anywhere else, each time.
void zqMoveOwnActuators(const ZqIndividualManipulator& manipulator,
                        ZqManipulatorActiveState& activeState, bool areNew);
