#include "zqManipulator/kinematics/joint/ZqLinkKinematicsContainer.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/joint/ZqQuadrilateralTypeLink.h"
#include "zqManipulator/kinematics/joint/ZqScrewTypeLink.h"

#include <typeinfo>

template class ZqXmlVariableType<ZqLinkKinematics>;
template class ZqXmlSingleVariableType<ZqLinkKinematics, ZqXmlClonePointer<ZqLinkKinematics>>;
template class ZqBaseExpressionTreeContainer<ZqLinkKinematics>;

// Constants, so that they serve the initialisers of static objects too.
constinit const ZqCoordinateSystemTransformation ZqLinkKinematicsContainer::m_theIdentity;
constinit const ZqGeneralMotion ZqLinkKinematicsContainer::m_theNullMotion;

ZqXmlObject* ZqLinkKinematicsContainer::clone() const
{
   return new ZqLinkKinematicsContainer(*this);
}

ZqXmlObject* ZqLinkKinematicsContainer::newObject() const
{
   return new ZqLinkKinematicsContainer();
}

bool ZqLinkKinematicsContainer::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqLinkKinematicsContainer*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqLinkKinematicsContainer::token() const
{
   return classToken();
}

void ZqLinkKinematicsContainer::registerComponentCreators()
{
   registerComponentCreator(ZqDenavitHartenberg::classToken(), ZqDenavitHartenberg::creator);
   registerComponentCreator(ZqScrewTypeLink::classToken(), ZqScrewTypeLink::creator);
   registerComponentCreator(ZqQuadrilateralTypeLink::classToken(),
                            ZqQuadrilateralTypeLink::creator);
}

void ZqLinkKinematicsContainer::setTopElement(const ZqLinkKinematics& element)
{
   ZqLinkKinematics* held = topElement();
   if (held != nullptr && typeid(*held) == typeid(ZqDenavitHartenberg) &&
       typeid(element) == typeid(ZqDenavitHartenberg))
      static_cast<ZqDenavitHartenberg&>(*held) = static_cast<const ZqDenavitHartenberg&>(element);
   else
      ZqBaseExpressionTreeContainer<ZqLinkKinematics>::setTopElement(element);
}

bool ZqLinkKinematicsContainer::addChildArbdToParent(ZqArticulatedBodyDynamics& parent,
                                                     const ZqArticulatedBodyDynamics& child,
                                                     ZqReal jointPosition, ZqReal jointTorque,
                                                     ZqReal effectiveInertia) const
{
   const ZqLinkKinematics* joint = topElement();
   return joint != nullptr &&
          joint->addChildArbdToParent(parent, child, jointPosition, jointTorque, effectiveInertia);
}

void ZqLinkKinematicsContainer::scaleBy(ZqReal scale)
{
   if (ZqLinkKinematics* joint = topElement())
      joint->scaleBy(scale);
}

void ZqLinkKinematicsContainer::transformBy(ZqCoordinateSystemTransformation& result,
                                            ZqReal jointPosition) const
{
   if (const ZqLinkKinematics* joint = topElement())
      joint->transformBy(result, jointPosition);
}

ZqBoolean
ZqLinkKinematicsContainer::transformBy(const ZqCoordinateSystemTransformation& transformation)
{
   ZqLinkKinematics* joint = topElement();
   if (joint == nullptr)
      return false;
   joint->transformBy(transformation);
   return true;
}

ZqReal ZqLinkKinematicsContainer::jointParameterScalability() const
{
   const ZqLinkKinematics* joint = topElement();
   return joint != nullptr ? joint->jointParameterScalability() : 0.0;
}

const ZqCoordinateSystemTransformation& ZqLinkKinematicsContainer::primaryFrame() const
{
   const ZqLinkKinematics* joint = topElement();
   return joint != nullptr ? joint->primaryFrame() : m_theIdentity;
}

const ZqCoordinateSystemTransformation& ZqLinkKinematicsContainer::primaryFrameInverse() const
{
   const ZqLinkKinematics* joint = topElement();
   return joint != nullptr ? joint->primaryFrameInverse() : m_theIdentity;
}

void ZqLinkKinematicsContainer::setPrimaryFrame(const ZqCoordinateSystemTransformation& frame)
{
   if (ZqLinkKinematics* joint = topElement())
      joint->setPrimaryFrame(frame);
   else if (!(frame == m_theIdentity))
      Zq::Print::instance().write(Zq::Rejected, "%s",
                                  "ZqLinkKinematicsContainer::setPrimaryFrame-->Null container\n");
}

const ZqCoordinateSystemTransformation&
ZqLinkKinematicsContainer::calculateTransform(ZqReal jointPosition) const
{
   const ZqLinkKinematics* joint = topElement();
   return joint != nullptr ? joint->calculateTransform(jointPosition) : m_theIdentity;
}

const ZqGeneralMotion& ZqLinkKinematicsContainer::calculateVelocity(ZqReal jointPosition,
                                                                    ZqReal jointVelocity) const
{
   const ZqLinkKinematics* joint = topElement();
   return joint != nullptr ? joint->calculateVelocity(jointPosition, jointVelocity)
                           : m_theNullMotion;
}

const ZqGeneralMotion&
ZqLinkKinematicsContainer::calculateAcceleration(ZqReal jointPosition, ZqReal jointVelocity,
                                                 ZqReal jointAcceleration) const
{
   const ZqLinkKinematics* joint = topElement();
   return joint != nullptr
             ? joint->calculateAcceleration(jointPosition, jointVelocity, jointAcceleration)
             : m_theNullMotion;
}

ZqReal
ZqLinkKinematicsContainer::unitAccelerationTorque(ZqReal jointPosition,
                                                  const ZqArticulatedBodyInertia& inertia) const
{
   const ZqLinkKinematics* joint = topElement();
   return joint != nullptr ? joint->unitAccelerationTorque(jointPosition, inertia) : 0.0;
}

ZqReal ZqLinkKinematicsContainer::torqueRequiredToExert(ZqReal jointPosition,
                                                        const ZqGeneralForce& force) const
{
   const ZqLinkKinematics* joint = topElement();
   return joint != nullptr ? joint->torqueRequiredToExert(jointPosition, force) : 0.0;
}

ZqU32 ZqLinkKinematicsContainer::unitType() const
{
   const ZqLinkKinematics* joint = topElement();
   return joint != nullptr ? joint->unitType() : 2;
}

ZqCoordinateSystemTransformation ZqLinkKinematicsContainer::transformAt(ZqReal jointPosition) const
{
   const ZqLinkKinematics* joint = topElement();
   return joint != nullptr ? joint->transformAt(jointPosition) : ZqCoordinateSystemTransformation();
}

ZqGeneralMotion ZqLinkKinematicsContainer::velocityAt(ZqReal jointPosition,
                                                      ZqReal jointVelocity) const
{
   const ZqLinkKinematics* joint = topElement();
   return joint != nullptr ? joint->velocityAt(jointPosition, jointVelocity) : ZqGeneralMotion();
}

ZqGeneralMotion ZqLinkKinematicsContainer::accelerationAt(ZqReal jointPosition,
                                                          ZqReal jointVelocity,
                                                          ZqReal jointAcceleration) const
{
   const ZqLinkKinematics* joint = topElement();
   return joint != nullptr ? joint->accelerationAt(jointPosition, jointVelocity, jointAcceleration)
                           : ZqGeneralMotion();
}
