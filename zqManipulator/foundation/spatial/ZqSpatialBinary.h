#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <array>
#include <istream>
#include <ostream>

/// Numbers in the binary form of the machine, without padding or header.
namespace ZqSpatialBinary
{
template <std::size_t count>
bool read(std::istream& stream, std::array<ZqReal, count>& values)
{
   stream.read(reinterpret_cast<char*>(values.data()), sizeof(values));
   return stream.gcount() == sizeof(values);
}

template <std::size_t count>
bool write(std::ostream& stream, const std::array<ZqReal, count>& values)
{
   stream.write(reinterpret_cast<const char*>(values.data()), sizeof(values));
   return stream.good();
}
} // namespace ZqSpatialBinary
