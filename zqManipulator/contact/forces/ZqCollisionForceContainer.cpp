#include "zqManipulator/contact/forces/ZqCollisionForceContainer.h"

#include "zqManipulator/contact/forces/ZqMassSpringDamperCollisionForceProcessor.h"
#include "zqManipulator/contact/forces/ZqPointContactForceProcessor.h"

template class ZqXmlVariableType<ZqBaseCollisionForceProcessor>;
template class ZqXmlSingleVariableType<ZqBaseCollisionForceProcessor,
                                       ZqXmlClonePointer<ZqBaseCollisionForceProcessor>>;
template class ZqBaseExpressionTreeContainer<ZqBaseCollisionForceProcessor>;

ZqXmlObject* ZqCollisionForceContainer::clone() const
{
   return new ZqCollisionForceContainer(*this);
}

ZqXmlObject* ZqCollisionForceContainer::newObject() const
{
   return new ZqCollisionForceContainer();
}

bool ZqCollisionForceContainer::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqCollisionForceContainer*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqCollisionForceContainer::token() const
{
   return classToken();
}

void ZqCollisionForceContainer::registerComponentCreators()
{
   registerComponentCreator(ZqMassSpringCollisionForceProcessor::classToken(),
                            ZqMassSpringCollisionForceProcessor::creator);
   registerComponentCreator(ZqMassSpringDamperCollisionForceProcessor::classToken(),
                            ZqMassSpringDamperCollisionForceProcessor::creator);
   registerComponentCreator(ZqPointContactForceProcessor::classToken(),
                            ZqPointContactForceProcessor::creator);
}
