#include "zqManipulator/actuation/ZqJointActuatorContainer.h"

#include "zqManipulator/actuation/ZqOldJointActuator.h"

template class ZqXmlVariableType<ZqBaseJointActuator>;
template class ZqXmlSingleVariableType<ZqBaseJointActuator, ZqXmlClonePointer<ZqBaseJointActuator>>;
template class ZqBaseExpressionTreeContainer<ZqBaseJointActuator>;

ZqXmlObject* ZqJointActuatorContainer::clone() const
{
   return new ZqJointActuatorContainer(*this);
}

ZqXmlObject* ZqJointActuatorContainer::newObject() const
{
   return new ZqJointActuatorContainer();
}

bool ZqJointActuatorContainer::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqJointActuatorContainer*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqJointActuatorContainer::token() const
{
   return classToken();
}

void ZqJointActuatorContainer::registerComponentCreators()
{
   registerComponentCreator(ZqOldJointActuator::classToken(), ZqOldJointActuator::creator);
}
