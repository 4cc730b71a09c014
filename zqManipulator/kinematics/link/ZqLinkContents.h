#pragma once

#include "zqManipulator/actuation/ZqJointActuator.h"
#include "zqManipulator/dynamics/bodies/ZqRigidBodyMassProperties.h"
#include "zqManipulator/foundation/geometry/ZqShapeContainer.h"
#include "zqManipulator/foundation/xml/ZqXmlMapType.h"
#include "zqManipulator/kinematics/joint/ZqLinkKinematicsContainer.h"
#include "zqManipulator/simulation/constraints/ZqStateConstraintContainer.h"
#include "zqManipulator/simulation/records/ZqDamperProperties.h"
#include "zqManipulator/simulation/records/ZqSensorVector.h"
#include "zqManipulator/simulation/records/ZqSpringProperties.h"
#include "zqManipulator/tools/labels/ZqReferenceDescription.h"

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include <utility>
#include <vector>

class ZqLinkUnion;
class ZqManipulatorLink;

/// \name Ownership of a union by `boost::intrusive_ptr`
/// @{
void intrusive_ptr_add_ref(const ZqLinkUnion* held) noexcept;
void intrusive_ptr_release(const ZqLinkUnion* held) noexcept;
/// @}

/// What was merged into a link. Copies share it: it is not changed, but replaced by another one.
class ZqLinkUnionPointer : public boost::intrusive_ptr<const ZqLinkUnion>
{
public:
   using intrusive_ptr::intrusive_ptr;
   /// By what is merged.
   bool operator==(const ZqLinkUnionPointer& other) const
   {
      return get() == other.get() ||
             (get() != nullptr && other.get() != nullptr && isEqual(*get(), *other.get()));
   }

private:
   static bool isEqual(const ZqLinkUnion& a, const ZqLinkUnion& b);
};

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

/// The shape of a link, and the shapes in it by number: first those that are no compounds, in their order,
/// then the volumes around the shape, the finest first. A copy numbers its own.
class ZqLinkShapes
{
public:
   ZqLinkShapes() = default;
   ZqLinkShapes(const ZqLinkShapes& other) : m_container(other.m_container) { number(); }
   ZqLinkShapes(ZqLinkShapes&& other) noexcept
      : m_container(std::move(other.m_container)), m_byNumber(std::exchange(other.m_byNumber, {})),
        m_physicalCount(std::exchange(other.m_physicalCount, 0)),
        m_count(std::exchange(other.m_count, 0))
   {
   }
   ZqLinkShapes& operator=(const ZqLinkShapes& other)
   {
      if (this != &other)
         *this = ZqLinkShapes(other);
      return *this;
   }
   ZqLinkShapes& operator=(ZqLinkShapes&& other) noexcept
   {
      m_container = std::move(other.m_container);
      m_byNumber = std::exchange(other.m_byNumber, {});
      m_physicalCount = std::exchange(other.m_physicalCount, 0);
      m_count = std::exchange(other.m_count, 0);
      return *this;
   }
   ~ZqLinkShapes() = default;
   bool operator==(const ZqLinkShapes& other) const { return m_container == other.m_container; }

private:
   friend class ZqManipulatorLink;

   void number();

   ZqShapeContainer m_container;
   std::vector<ZqShape*> m_byNumber; ///< not owned: they stand in the container
   ZqU32 m_physicalCount = 0;        ///< of those that are no volumes around others
   ZqU32 m_count = 0;                ///< as it was set last
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
   ZqLinkShapes m_shapes;
   ZqStateConstraintContainer m_upperLimitConstraint;
   ZqStateConstraintContainer m_lowerLimitConstraint;
   ZqSensorVector m_sensorVector;
   ZqLinkUnionPointer m_union; ///< null for a link into which nothing is merged; not in documents
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
