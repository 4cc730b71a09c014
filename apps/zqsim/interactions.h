#pragma once

#include "apps/zqsim/output.h"

class ZqManipulatorSystem;

namespace zqsim
{
/// What acts between the links of a system: the type of each interaction, and its single values by name; of
/// contact the laws of force and of friction too, which may be null.
Json describeInteractions(const ZqManipulatorSystem& system);
/// The same for people.
std::string describeInteractions(const Json& interactions);
} // namespace zqsim
