#pragma once

#include <cstdint>

/// A number that has not been given to anybody before, in any thread.
///
/// Where all flags of many records would fall together, the records get a new epoch instead, and each
/// remembers in which epoch its flags were right. Since epochs are unique, what was computed for one is
/// never taken for what belongs to another, whoever was copied or assigned from whom meanwhile.
std::uint64_t zqNextEpoch() noexcept;
