#pragma once

#include "zqManipulator/zqManipulator.h"

namespace models
{
/// A parallel gripper on a lift, open around nothing, and a wooden block on the floor in front of it.
ZqStatedSystem gripper();
/// Boxes, a wedge and two cylinders on a table.
ZqStatedSystem tableTop();
/// An arm of five joints on a base with four wheels.
ZqStatedSystem mobileBase();

/// Three blocks on boards at 0.9, 0.99 and 1.1 times the angle of friction.
ZqStatedSystem slope();
/// Ten cubes, one on the other.
ZqStatedSystem stack();
/// A ball above a floor, both of which give some of a bounce back.
ZqStatedSystem bouncingBall();
/// A gripper with motors of direct current on a table, a block under it, and a brick aside.
ZqStatedSystem grasp();
/// A door with a latch and a handle, closed.
ZqStatedSystem door();
} // namespace models
