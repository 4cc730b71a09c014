#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/tools/labels/ZqModelScaling.h"

#include <algorithm>

void ZqManipulatorLink::setMassProperties(const ZqRigidBodyMassProperties& properties)
{
   m_baseMassProperties = properties;
   clearMassPropertiesMap();
}

void ZqManipulatorLink::setBaseMassProperties(const ZqRigidBodyMassProperties& properties)
{
   m_baseMassProperties = properties;
   updateMassProperties();
   updateDHMassProperties();
}

void ZqManipulatorLink::setMassPropertiesMap(const MassPropertiesMap& map)
{
   m_massPropertiesMap = map;
   updateMassProperties();
   updateDHMassProperties();
}

void ZqManipulatorLink::clearMassPropertiesMap()
{
   m_massPropertiesMap.clear();
   updateMassProperties();
   updateDHMassProperties();
}

void ZqManipulatorLink::addMassProperties(const ZqString& name,
                                          const ZqRigidBodyMassProperties& properties)
{
   m_massPropertiesMap.add(name, properties);
   updateMassProperties();
   updateDHMassProperties();
}

bool ZqManipulatorLink::deleteMassProperties(const ZqString& name)
{
   if (!m_massPropertiesMap.erase(name))
      return false;
   updateMassProperties();
   updateDHMassProperties();
   return true;
}

void ZqManipulatorLink::updateMassProperties()
{
   m_massProperties = m_baseMassProperties;
   for (const auto& [name, properties] : m_massPropertiesMap.mapContainer())
      m_massProperties += properties;
}

void ZqManipulatorLink::updateDHMassProperties()
{
   m_massPropertiesInDHFrame = m_massProperties;
   m_massPropertiesInDHFrame.transformBy(m_linkKinematicsContainer.primaryFrame());
   modelChanges();
}

bool ZqManipulatorLink::replaceMassProperties(const ZqString& label,
                                              const ZqRigidBodyMassProperties& properties)
{
   if (linkLabel() == label)
   {
      setMassProperties(properties);
      return false;
   }
   return std::any_of(childLinks().begin(), childLinks().end(),
                      [&](ZqManipulatorLink& child)
                      {
                         const bool isChild = child.linkLabel() == label;
                         return child.replaceMassProperties(label, properties) || isChild;
                      });
}

bool ZqManipulatorLink::setJointLimit(const ZqString& label, bool isLower, ZqReal value)
{
   if (linkLabel() == label)
   {
      isLower ? m_jointActuator.setLowerLimit(value) : m_jointActuator.setUpperLimit(value);
      updateDefaultLimitConstraints();
      return true;
   }
   return std::any_of(childLinks().begin(), childLinks().end(),
                      [&](ZqManipulatorLink& child)
                      { return child.setJointLimit(label, isLower, value); });
}

bool ZqManipulatorLink::replaceLinkProperties(const ZqString& label, const ZqManipulatorLink& link,
                                              bool withShapes)
{
   if (linkLabel() != label)
      return std::any_of(childLinks().begin(), childLinks().end(),
                         [&](ZqManipulatorLink& child)
                         { return child.replaceLinkProperties(label, link, withShapes); });
   setDamperProperties(link.damperProperties());
   setJointActuator(link.jointActuator());
   setLinkKinematicsContainer(link.linkKinematicsContainer());
   setMassProperties(link.massProperties());
   setSpringProperties(link.springProperties());
   setNamedPoints(link.namedPoints());
   setNamedFrames(link.namedFrames());
   if (withShapes)
      setShapeContainer(link.shapeContainer());
   return true;
}

ZqReal ZqManipulatorLink::totalLocalTorque(const ZqManipulatorActiveState& activeState) const
{
   if (m_manipulator == nullptr)
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqManipulatorLink::totalLocalTorque()->NULL manipulator pointer");
      return 0.0;
   }
   if (m_springProperties.isEmpty() && m_damperProperties.isEmpty())
      return 0.0;
   return m_damperProperties.torque(*m_manipulator, activeState) +
          m_springProperties.torque(*m_manipulator, activeState);
}

namespace
{
/// Assigned, since a copy has none of the results that were computed for the unscaled body.
void scaleBody(ZqRigidBodyMassProperties& body, ZqReal scale)
{
   ZqRigidBodyMassProperties scaled = body;
   scaled.scaleBy(scale);
   body = scaled;
}
} // namespace

/// False, with a message of the operation, for what is no scale.
bool ZqManipulatorLink::isScaleOf(ZqReal scale, const char* operation) const
{
   if (ZqModelScaling::isScale(scale))
      return true;
   Zq::Print::instance().write(Zq::Rejected,
                               "ZqManipulatorLink::%s(): %g is no scale for link \"%s\".\n",
                               operation, scale, linkLabel().c_str());
   return false;
}

void ZqManipulatorLink::scaleIndividualLinkBy(ZqReal scale)
{
   if (!isScaleOf(scale, "scaleIndividualLinkBy"))
      return;
   if (m_union)
      scaleUnionBy(scale);
   m_linkKinematicsContainer.scaleBy(scale);
   scaleContentsBy(scale);
}

/// All that `scaleIndividualLinkBy` scales but the union and the joint.
void ZqManipulatorLink::scaleContentsBy(ZqReal scale)
{
   if (m_shapes.m_container.topElement() != nullptr)
   {
      m_shapes.m_container.scaleBy(scale);
      mapShapes();
   }
   scaleBody(m_baseMassProperties, scale);
   const ZqReal isLength = m_linkKinematicsContainer.jointParameterScalability();
   m_jointActuator.scaleBy(scale, isLength * scale + (1.0 - isLength));
   updateDefaultLimitConstraints();
   updateMassProperties();
   updateDHMassProperties();
}

void ZqManipulatorLink::scaleBy(ZqReal scale)
{
   if (!isScaleOf(scale, "scaleBy"))
      return;
   scaleIndividualLinkBy(scale);
   for (ZqManipulatorLink& child : childLinks())
      child.scaleBy(scale);
}

void ZqManipulatorLink::resize(const ZqModelScaling& scaling)
{
   for (auto& [name, body] : m_massPropertiesMap.mapContainer())
   {
      scaleBody(body, scaling.factor);
      body.makeValid();
   }
   for (auto& [name, point] : m_namedPoints.mapContainer())
      point *= scaling.factor;
   for (auto& [name, frame] : m_namedFrames.mapContainer())
      frame.scaleTranslationBy(scaling.factor);
   const ZqReal jointFactor = scaling.jointFactor(linkIndex());
   m_springProperties.scaleBy(scaling, jointFactor);
   m_damperProperties.scaleBy(scaling, jointFactor);
   for (ZqStateConstraintContainer* limit : {&m_upperLimitConstraint, &m_lowerLimitConstraint})
      if (ZqBaseStateConstraint* constraint = limit->topElement())
         constraint->scaleBy(scaling);
   if (m_union)
      resizeUnion(scaling);
   m_linkKinematicsContainer.resizeBy(scaling.factor);
   scaleContentsBy(scaling.factor);
   // The least mass stands for none, and does not become less.
   m_baseMassProperties.makeValid();
   updateMassProperties();
   updateDHMassProperties();
   for (ZqManipulatorLink& child : childLinks())
      child.resize(scaling);
}

ZqReal ZqManipulatorLink::upperBoundExtentDistance() const
{
   const ZqLinkKinematics* joint = m_linkKinematicsContainer.topElement();
   return joint != nullptr ? joint->upperBoundDhFrameDistance(m_jointActuator) : 0.0;
}

ZqReal ZqManipulatorLink::upperBoundSubmanipulatorExtentDistance() const
{
   ZqReal reach = reachOfShape();
   for (const ZqManipulatorLink& child : childLinks())
      reach = std::max(reach, child.upperBoundSubmanipulatorExtentDistance());
   return upperBoundExtentDistance() + reach;
}

namespace
{
/// Adds a value under a name that is not taken.
template <class Map, class Value>
void addNamed(Map& map, const ZqString& name, const Value& value, const char* message)
{
   if (!map.mapContainer().try_emplace(name, value).second)
      Zq::Print::instance().write(Zq::Rejected, "%s", message);
}
} // namespace

bool ZqManipulatorLink::lookupNamedPoint(const ZqString& name, ZqVector& point) const
{
   return m_namedPoints.lookup(name, point);
}

void ZqManipulatorLink::addNamedPoint(const ZqString& name, const ZqVector& point)
{
   addNamed(m_namedPoints, name, point, "ZqManipulatorLink::addNamedPoint point already exists\n");
}

bool ZqManipulatorLink::lookupNamedFrame(const ZqString& name,
                                         ZqCoordinateSystemTransformation& frame) const
{
   return m_namedFrames.lookup(name, frame);
}

void ZqManipulatorLink::addNamedFrame(const ZqString& name,
                                      const ZqCoordinateSystemTransformation& frame)
{
   addNamed(m_namedFrames, name, frame, "ZqManipulatorLink::addNamedFrame frame already exists\n");
}

void ZqManipulatorLink::transformComponentsBy(const ZqCoordinateSystemTransformation& T)
{
   removeLinkReferences();
   m_shapes.m_container.transformBy(T);
   mapShapes();
   transformAllButShapesBy(T);
}

void ZqManipulatorLink::transformAllButShapesBy(const ZqCoordinateSystemTransformation& T)
{
   // What is small about its center may round to what no body has.
   m_baseMassProperties.transformBy(T).makeValid();
   for (auto& [name, properties] : m_massPropertiesMap.mapContainer())
      properties.transformBy(T).makeValid();
   for (auto& [name, point] : m_namedPoints.mapContainer())
      point = T * point;
   for (auto& [name, frame] : m_namedFrames.mapContainer())
      frame = T * frame;
   if (m_union)
      transformUnionBy(T);
   updateMassProperties();
   updateDHMassProperties();
}

ZqBoolean ZqManipulatorLink::transformLinkTreeBy(const ZqCoordinateSystemTransformation& T)
{
   // A copy of the joint, so that whoever shares results of the old one keeps these.
   ZqLinkKinematicsContainer container = m_linkKinematicsContainer;
   if (!container.transformBy(T))
      return false;
   setLinkKinematicsContainer(container);
   return true;
}

void ZqManipulatorLink::copyLinkProperties(ZqManipulatorLink& target) const
{
   target.setLinkLabel(linkLabel());
   target.setDamperProperties(damperProperties());
   target.setJointActuator(jointActuator());
   target.setLinkKinematicsContainer(linkKinematicsContainer());
   target.setMassProperties(massProperties());
   target.setSpringProperties(springProperties());
   target.setLinkReferenceDescription(linkReferenceDescription());
   target.setShapeContainer(shapeContainer());
}
