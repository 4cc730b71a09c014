#pragma once

#include <cstdint>

/// A number that has not been given to anybody before, in any thread.
///
/// Where all flags of many records would fall together, the records get a new epoch instead, and each
/// remembers in which epoch its flags were right. What is computed for a state remembers that, too, and is
/// taken for no other state, since no two have one epoch; an assignment begins a new one.
std::uint64_t zqNextEpoch() noexcept;
