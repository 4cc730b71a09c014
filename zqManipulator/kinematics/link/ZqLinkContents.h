#pragma once

#include "zqManipulator/actuation/ZqJointActuator.h"
#include "zqManipulator/dynamics/bodies/ZqRigidBodyMassProperties.h"
#include "zqManipulator/foundation/xml/ZqXmlMapType.h"
#include "zqManipulator/kinematics/joint/ZqLinkKinematicsContainer.h"
#include "zqManipulator/simulation/records/ZqDamperProperties.h"
#include "zqManipulator/simulation/records/ZqSpringProperties.h"
#include "zqManipulator/tools/labels/ZqReferenceDescription.h"

class ZqManipulatorLink;

extern template class ZqXmlMapType<ZqString, ZqRigidBodyMassProperties>;
extern template class ZqXmlMapType<ZqString, ZqVector>;
extern template class ZqXmlMapType<ZqString, ZqCoordinateSystemTransformation>;

// The parts of `ZqManipulatorLink`, which tells what they mean. A member that is new goes into one of
// them, and into the list of components of the link. They come first in a link and in this order: what
// a query of frames touches then stands together.

/// Where a link stands in its tree: what an assignment leaves as it is.
class ZqLinkPlace
{
protected:
   ZqU32 m_linkIndex = ZqNoLinkIndex;
   ZqManipulatorLink* m_parentLink = nullptr; ///< not owned
};

/// What two links have in common of which one may refer to the other: it is copied, moved and compared
/// as one.
class ZqLinkContents
{
public:
   using MassPropertiesMap = ZqXmlMapType<ZqString, ZqRigidBodyMassProperties>;
   using NamedPoints = ZqXmlMapType<ZqString, ZqVector>;
   using NamedFrames = ZqXmlMapType<ZqString, ZqCoordinateSystemTransformation>;

protected:
   bool operator==(const ZqLinkContents&) const = default;

   ZqLinkKinematicsContainer m_linkKinematicsContainer;
   bool m_isConstrained = false;
   ZqJointActuator m_jointActuator;
   ZqRigidBodyMassProperties m_baseMassProperties = ZqRigidBodyMassProperties::nullObject();
   MassPropertiesMap m_massPropertiesMap;
   ZqLinkReferenceDescription m_linkReferenceDescription;
   NamedPoints m_namedPoints;
   NamedFrames m_namedFrames;
   ZqSpringProperties m_springProperties;
   ZqDamperProperties m_damperProperties;
};

/// All of a link that is copied and moved as it is: the contents, the label, which is compared apart,
/// and the masses that follow from the contents.
class ZqLinkValues : public ZqLinkContents
{
protected:
   ZqString m_linkLabel;
   ZqRigidBodyMassProperties m_massProperties = ZqRigidBodyMassProperties::nullObject();
   ZqRigidBodyMassProperties m_massPropertiesInDHFrame = ZqRigidBodyMassProperties::nullObject();
};
