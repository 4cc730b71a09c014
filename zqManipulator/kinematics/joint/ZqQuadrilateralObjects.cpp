#include "zqManipulator/kinematics/joint/ZqQuadrilateralObjects.h"

#include "zqManipulator/tools/labels/ZqModelEdit.h"

template class ZqXmlClass<ZqQuadrilateralFixedSliderJointOAObject, ZqBaseQuadrilateralObject>;
template class ZqXmlClass<ZqQuadrilateralFixedSliderJointCBObject, ZqBaseQuadrilateralObject>;
template class ZqXmlClass<ZqQuadrilateralPivotedSliderJointBObject, ZqBaseQuadrilateralObject>;
template class ZqXmlClass<ZqQuadrilateralPivotedSliderJointCObject, ZqBaseQuadrilateralObject>;

bool ZqBaseQuadrilateralObject::apply(const ZqLinkEdit& edit)
{
   return edit.apply(m_linkIdentifier);
}

const ZqBaseQuadrilateralObject::Member& ZqQuadrilateralFixedSliderJointOAObject::member() const
{
   static constexpr Member member{"ZqQuadrilateralFixedSliderJointOAObject",
                                  ZqQuadrilateralTypeLink::FixedSlider,
                                  &ZqQuadrilateralTypeLink::frameAAt};
   return member;
}

const ZqBaseQuadrilateralObject::Member& ZqQuadrilateralFixedSliderJointCBObject::member() const
{
   static constexpr Member member{"ZqQuadrilateralFixedSliderJointCBObject",
                                  ZqQuadrilateralTypeLink::FixedSlider,
                                  &ZqQuadrilateralTypeLink::frameBAt};
   return member;
}

const ZqBaseQuadrilateralObject::Member& ZqQuadrilateralPivotedSliderJointBObject::member() const
{
   static constexpr Member member{"ZqQuadrilateralPivotedSliderJointBObject",
                                  ZqQuadrilateralTypeLink::PivotedSlider,
                                  &ZqQuadrilateralTypeLink::frameBAt};
   return member;
}

const ZqBaseQuadrilateralObject::Member& ZqQuadrilateralPivotedSliderJointCObject::member() const
{
   static constexpr Member member{"ZqQuadrilateralPivotedSliderJointCObject",
                                  ZqQuadrilateralTypeLink::PivotedSlider,
                                  &ZqQuadrilateralTypeLink::frameCAt};
   return member;
}
