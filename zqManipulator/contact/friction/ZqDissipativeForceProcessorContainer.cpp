#include "zqManipulator/contact/friction/ZqDissipativeForceProcessorContainer.h"

#include "zqManipulator/contact/friction/ZqDissipativeForceProcessor.h"
#include "zqManipulator/contact/friction/ZqDryFrictionForceProcessor.h"
#include "zqManipulator/contact/friction/ZqPointFrictionForceProcessor.h"

template class ZqXmlVariableType<ZqBaseDissipativeForceProcessor>;
template class ZqXmlSingleVariableType<ZqBaseDissipativeForceProcessor,
                                       ZqXmlClonePointer<ZqBaseDissipativeForceProcessor>>;
template class ZqBaseExpressionTreeContainer<ZqBaseDissipativeForceProcessor>;

ZqXmlObject* ZqDissipativeForceProcessorContainer::clone() const
{
   return new ZqDissipativeForceProcessorContainer(*this);
}

ZqXmlObject* ZqDissipativeForceProcessorContainer::newObject() const
{
   return new ZqDissipativeForceProcessorContainer();
}

bool ZqDissipativeForceProcessorContainer::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqDissipativeForceProcessorContainer*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqDissipativeForceProcessorContainer::token() const
{
   return classToken();
}

void ZqDissipativeForceProcessorContainer::registerComponentCreators()
{
   registerComponentCreator(ZqDissipativeForceProcessor::classToken(),
                            ZqDissipativeForceProcessor::creator);
   registerComponentCreator(ZqDryFrictionForceProcessor::classToken(),
                            ZqDryFrictionForceProcessor::creator);
   registerComponentCreator(ZqPointFrictionForceProcessor::classToken(),
                            ZqPointFrictionForceProcessor::creator);
}

void ZqDissipativeForceProcessorContainer::setFrictionCoeficientLookupTool(
   const ZqFrictionCoefficientLookupTool& tool)
{
   if (ZqBaseDissipativeForceProcessor* law = topElement())
      law->setFrictionCoefficientLUT(tool);
}

const ZqFrictionCoefficientLookupTool&
ZqDissipativeForceProcessorContainer::frictionCoeficientLookupTool() const
{
   static const auto& none = *new ZqFrictionCoefficientLookupTool();
   const ZqBaseDissipativeForceProcessor* law = topElement();
   return law != nullptr ? law->frictionCoefficientLUT() : none;
}
