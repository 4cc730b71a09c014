#include "zqManipulator/kinematics/joint/ZqGeneralBoundObjectVector.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/joint/ZqQuadrilateralObjects.h"

template class ZqXmlVariableVectorType<ZqBaseGeneralBoundObject>;

ZqXmlObject* ZqGeneralBoundObjectVector::clone() const
{
   return new ZqGeneralBoundObjectVector(*this);
}

ZqXmlObject* ZqGeneralBoundObjectVector::newObject() const
{
   return new ZqGeneralBoundObjectVector();
}

bool ZqGeneralBoundObjectVector::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqGeneralBoundObjectVector*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqGeneralBoundObjectVector::token() const
{
   return classToken();
}

void ZqGeneralBoundObjectVector::registerComponentCreators()
{
   registerComponentCreator(ZqQuadrilateralFixedSliderJointOAObject::classToken(),
                            ZqQuadrilateralFixedSliderJointOAObject::creator);
   registerComponentCreator(ZqQuadrilateralFixedSliderJointCBObject::classToken(),
                            ZqQuadrilateralFixedSliderJointCBObject::creator);
   registerComponentCreator(ZqQuadrilateralPivotedSliderJointBObject::classToken(),
                            ZqQuadrilateralPivotedSliderJointBObject::creator);
   registerComponentCreator(ZqQuadrilateralPivotedSliderJointCObject::classToken(),
                            ZqQuadrilateralPivotedSliderJointCObject::creator);
}

void ZqGeneralBoundObjectVector::apply(const ZqLinkEdit& edit)
{
   for (ZqU32 i = size(); i-- > 0;)
   {
      ZqBaseGeneralBoundObject* object = vectorContainer()[i];
      if (object == nullptr || object->apply(edit))
         continue;
      erase(i);
      Zq::Print::instance().write(
         Zq::Oddity,
         "ZqGeneralBoundObjectVector::apply(): bound object %u is removed with its link.\n", i);
   }
}

void ZqGeneralBoundObjectVector::setManipulator(const ZqIndividualManipulator* manipulator)
{
   for (ZqBaseGeneralBoundObject* object : vectorContainer())
      if (object != nullptr)
         object->setManipulator(manipulator);
}

void ZqGeneralBoundObjectVector::scaleBy(ZqReal scale)
{
   for (ZqBaseGeneralBoundObject* object : vectorContainer())
      if (object != nullptr)
         object->scaleBy(scale);
}
