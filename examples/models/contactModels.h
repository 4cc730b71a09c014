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
} // namespace models
