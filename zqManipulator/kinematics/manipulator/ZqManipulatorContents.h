#pragma once

#include "zqManipulator/contact/exclusion/ZqLinkCollisionTest.h"
#include "zqManipulator/contact/exclusion/ZqManipulatorSelfCollisionLinkMap.h"
#include "zqManipulator/foundation/geometry/ZqShape.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/kinematics/joint/ZqGeneralBoundObjectVector.h"
#include "zqManipulator/simulation/constraints/ZqStateConstraintVector.h"
#include "zqManipulator/simulation/constraints/ZqStateEqualityConstraintVector.h"
#include "zqManipulator/simulation/records/ZqStoppingCriterionVector.h"
#include "zqManipulator/tools/labels/ZqManipulatorLinkLabelMapping.h"
#include "zqManipulator/tools/labels/ZqReferenceDescription.h"

#include <set>

// The parts of `ZqIndividualManipulator`, which tells what they mean. A member that is new goes into
// one of them, and into the list of components of the manipulator.

/// What two manipulators have in common of which one may refer to the other, besides their trees: it is
/// copied, moved and compared as one.
class ZqManipulatorContents
{
public:
   using DisplayLinkIndices = ZqXmlVectorType<ZqU32>;

protected:
   bool operator==(const ZqManipulatorContents&) const = default;

   ZqCoordinateSystemTransformation m_coordSysXForm;
   ZqSphere m_absoluteBoundingSphere{ZqVector(), 10.0, 3};
   bool m_isFixedBase = true;
   bool m_optimizeOnLoad = false;
   ZqManipulatorReferenceDescription m_manipulatorReferenceDescription;
   ZqGeneralBoundObjectVector m_generalBoundObjects;
   ZqStateConstraintVector m_stateConstraints;
   ZqStateEqualityConstraintVector m_stateEqualityConstraints;
   ZqStoppingCriterionVector m_stoppingCriteria;
   DisplayLinkIndices m_displayLinkIndices;
   ZqShape::Surfaces m_surfaces;
   ZqManipulatorSelfCollisionLinkMap m_selfCollisionLinkMap;
};

/// All of a manipulator that is copied and moved as it is: the contents, the label, which is compared
/// apart, and what is not compared.
class ZqManipulatorValues : public ZqManipulatorContents
{
protected:
   ZqString m_manipulatorLabel;
   bool m_isControllable = false;
   std::set<ZqString> m_usingManipulatorLabels;
   ZqManipulatorLinkLabelMapping m_linkLabelMapping;
   /// The self collision map, compiled.
   ZqLinkCollisionTest m_linkCollisionTest;
   /// The self collision map has all pairs of the links in it, and excludes every one.
   bool m_allPairsAreExcluded = false;
};
