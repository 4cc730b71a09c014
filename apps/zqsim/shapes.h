#pragma once

#include "apps/zqsim/output.h"

#include <nlohmann/json.hpp>

class ZqManipulatorLink;
class ZqXmlObject;

namespace zqsim
{
/// The name of a class in documents, without its namespace.
std::string className(const ZqXmlObject& object);

/// What is told of the shapes of a link, by number: type, identifier, volume, and the level of a
/// bounding volume, which is 0 for others.
Json describeShapes(const ZqManipulatorLink& link);

/// The shapes of a link that are no bounding volumes, as they are drawn, with the link's primary frame at a
/// frame in the system. A convex shape is a core swept by a ball: position and orientation are those of the
/// core, and sizes are told along its axes.
Json drawShapes(const ZqManipulatorLink& link, const ZqCoordinateSystemTransformation& frame);
} // namespace zqsim
