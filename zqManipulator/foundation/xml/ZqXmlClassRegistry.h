#pragma once

#include "zqManipulator/foundation/xml/ZqXmlBaseVariableCompoundType.h"

namespace Zq
{
/// Makes a class of the user's own known to documents, until the process ends: wherever a container
/// holds objects of one of its bases, an element of this name is read as an object of the class. One call
/// serves every family of classes that documents hold by name: joints, power converters, drive trains,
/// constraints and stopping criteria.
///
/// A name that a container has a class of its own for stays that class's. The same class may be
/// registered again; when another class has the name, a message is logged and the answer is false. May be
/// called at any time and from any thread.
bool registerClass(const ZqToken& token, ZqXmlBaseVariableCompoundType::Creator creator);

/// The same for a class with `classToken` and `creator`, which `ZqXmlClass` supplies.
template <class T>
bool registerClass()
{
   return registerClass(T::classToken(), &T::creator);
}

/// The creator that was registered so for a name; null when there is none.
ZqXmlBaseVariableCompoundType::Creator registeredCreator(const ZqToken& token);
/// All that were registered so.
ZqXmlBaseVariableCompoundType::CreatorMap registeredCreators();
} // namespace Zq
