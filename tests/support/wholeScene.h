#pragma once

#include "support/contactScene.h"
#include "support/randomValues.h"

namespace zqTest
{
/// A random scene of all that a scene may have: bodies of every shape on a floor; an arm with motors, cylinders,
/// gears, limits, springs, attached masses, named points and frames, closed loops and a stopping criterion, with a
/// tool or not; another manipulator that refers to the model of the arm; springs between links, contact, a latched
/// door; exclusions; states.
ContactScene wholeScene(RandomValues& random);
} // namespace zqTest
