#include "zqManipulator/actuation/ZqPowerConverterContainer.h"

#include "zqManipulator/actuation/ZqDcElectricMotor.h"
#include "zqManipulator/actuation/ZqHydraulicCylinder.h"
#include "zqManipulator/actuation/ZqPassThroughPowerConverter.h"

template class ZqXmlVariableType<ZqBasePowerConverter>;
template class ZqXmlSingleVariableType<ZqBasePowerConverter,
                                       ZqXmlClonePointer<ZqBasePowerConverter>>;
template class ZqBaseExpressionTreeContainer<ZqBasePowerConverter>;

ZqXmlObject* ZqPowerConverterContainer::clone() const
{
   return new ZqPowerConverterContainer(*this);
}

ZqXmlObject* ZqPowerConverterContainer::newObject() const
{
   return new ZqPowerConverterContainer();
}

bool ZqPowerConverterContainer::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqPowerConverterContainer*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqPowerConverterContainer::token() const
{
   return classToken();
}

void ZqPowerConverterContainer::registerComponentCreators()
{
   registerComponentCreator(ZqPassThroughPowerConverter::classToken(),
                            ZqPassThroughPowerConverter::creator);
   registerComponentCreator(ZqDcElectricMotor::classToken(), ZqDcElectricMotor::creator);
   registerComponentCreator(ZqHydraulicCylinder::classToken(), ZqHydraulicCylinder::creator);
}
