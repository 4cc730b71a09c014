#pragma once

#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

class ZqLinkEdit;

/// What springs and dampers at joints have in common: joints by the labels of their links, with a weight each.
namespace zqAssociatedJoints
{
/// Follows the links. What is in the lists of a joint that is gone goes; weights follow another sense of a joint, and
/// offsets, where there are any, another zero too.
void apply(const ZqLinkEdit& edit, ZqXmlVectorType<ZqString>& joints,
           ZqXmlVectorBasicType<ZqReal>& weights, ZqXmlVectorBasicType<ZqReal>* offsets);
void turn(ZqXmlVectorBasicType<ZqReal>& weights);
} // namespace zqAssociatedJoints
