/// \file
/// Declares the public classes of zqManipulator and its containers, for headers that only name them.
#pragma once

class ZqAccelerationState;
class ZqActuatorState;
class ZqAngle;
class ZqArbiAccelerationTool;
class ZqArticulatedBodyDynamics;
class ZqArticulatedBodyInertia;
class ZqAttachmentMapState;
class ZqAttachmentNodeState;
class ZqBaseExpressionTreeElement;
class ZqBaseJointActuator;
class ZqBaseLinkInterface;
class ZqBasePowerConverter;
class ZqBaseStateEqualityConstraint;
class ZqBaseStoppingCriterion;
class ZqCacheFlag;
class ZqCollisionExclusionData;
class ZqComPolygonalStoppingCriterion;
class ZqCompositeBodySweep;
class ZqConstraintFactor;
struct ZqConstraintKinematics;
class ZqConstraintProjection;
class ZqCoordinateSystemTransformation;
class ZqCrbiAccelerationTool;
class ZqDamperProperties;
class ZqDataMap;
class ZqDcElectricMotor;
class ZqDenavitHartenberg;
class ZqDriveTrain;
class ZqEllipsoid;
class ZqExternalForceDescription;
class ZqGeneralForce;
class ZqGeneralMotion;
class ZqGravitationalTorqueTool;
struct ZqHalfAngle;
class ZqHydraulicCylinder;
class ZqIndividualManipulator;
class ZqInputTable;
class ZqJointActuator;
class ZqJointActuatorContainer;
class ZqLabelPool;
class ZqLinearStateEqualityConstraint;
class ZqLineSegment;
class ZqLinkAccelerationState;
class ZqLinkArticulationState;
class ZqLinkAttachment;
class ZqLinkCollisionTest;
class ZqLinkContents;
class ZqLinkEdit;
class ZqLinkForceState;
class ZqLinkKinematics;
class ZqLinkKinematicsContainer;
class ZqLinkMassState;
class ZqLinkPlace;
class ZqLinkPositionState;
class ZqLinkReferenceDescription;
class ZqLinkValues;
class ZqLinkVelocityState;
class ZqManipulatorActiveAccelerationState;
class ZqManipulatorActiveArticulationState;
class ZqManipulatorActiveForceState;
class ZqManipulatorActiveMassState;
class ZqManipulatorActivePositionState;
class ZqManipulatorActiveState;
class ZqManipulatorActiveVelocityState;
class ZqManipulatorAttachmentChange;
class ZqManipulatorAttachmentMap;
class ZqManipulatorAttachmentNode;
class ZqManipulatorContents;
class ZqManipulatorExternalForce;
class ZqManipulatorLink;
class ZqManipulatorLinkIdentifier;
class ZqManipulatorValues;
struct ZqManipulatorLinkIndex;
class ZqManipulatorLinkLabelMapping;
class ZqManipulatorReferenceDescription;
class ZqManipulatorSelfCollisionLinkMap;
class ZqManipulatorSystem;
class ZqManipulatorSystemConfiguration;
class ZqManipulatorSystemContainer;
class ZqManipulatorSystemState;
class ZqManipulatorTorque;
class ZqManufacturerData;
class ZqMassMatrixFactor;
class ZqMassMatrixTool;
class ZqMath;
class ZqMatrixDTool;
class ZqMechanicalActuatorComponent;
class ZqMechanicalActuatorComponentContainer;
class ZqModelEdit;
class ZqMotionDerivativeTool;
class ZqNonNegReal;
class ZqOldJointActuator;
class ZqOldManipulatorAttachmentMap;
class ZqOrientation;
class ZqPassThroughPowerConverter;
class ZqPlanarVector;
class ZqPlane;
class ZqPointPairStateEqualityConstraint;
class ZqPointStateEqualityConstraint;
class ZqPositionState;
class ZqPowerConverterContainer;
class ZqPropagationDescriptor;
class ZqPropagationResultData;
class ZqRandom;
class ZqReArray;
class ZqRenumbering;
class ZqRigidBodyMassProperties;
class ZqRotationMatrix;
class ZqSecondMoment;
class ZqSimulation;
class ZqSpatialMatrix;
class ZqSphere;
class ZqSpringProperties;
class ZqStateEqualityConstraintVector;
class ZqStatedSystem;
class ZqStatedSystemStruct;
class ZqStoppingCriterionVector;
class ZqSystemActiveState;
class ZqSystemCollisionExclusionMap;
class ZqSystemEnvironment;
class ZqToken;
class ZqTotalTorqueTool;
class ZqVector;
class ZqVelocityState;
class ZqXmlBaseVariableCompoundType;
struct ZqXmlComponentEntry;
struct ZqXmlComponentTable;
class ZqXmlCompoundType;
struct ZqXmlEnumerator;
class ZqXmlObject;
class ZqXmlObjectVisitor;
class ZqXmlReader;
class ZqXmlSchema;
class ZqXmlWriter;
class ZqXyStateEqualityConstraint;

template <class Derived>
class ZqSpatialVector;
template <class K, class V>
class ZqXmlMapType;
template <class A, class B>
class ZqXmlPairType;
template <class T>
class ZqXmlSetType;
template <class T>
class ZqXmlValueVector;
template <class T>
class ZqXmlVariableElementType;
template <class T>
class ZqXmlVariableSharedElementType;
template <class T>
class ZqXmlVariableType;
template <class T>
class ZqXmlVariableVectorType;
template <class T>
class ZqXmlVectorType;

namespace Zq
{
class DiagnosticCollector;
class DiagnosticPlace;
class Print;
struct Diagnostic;
} // namespace Zq
