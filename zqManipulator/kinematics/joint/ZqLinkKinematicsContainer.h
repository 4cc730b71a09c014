#pragma once

#include "zqManipulator/kinematics/joint/ZqLinkKinematics.h"

extern template class ZqXmlVariableType<ZqLinkKinematics>;
extern template class ZqXmlSingleVariableType<ZqLinkKinematics,
                                              ZqXmlClonePointer<ZqLinkKinematics>>;
extern template class ZqBaseExpressionTreeContainer<ZqLinkKinematics>;

/// A container of at most one joint. Without one, every query has a neutral answer, so that a link
/// need not know whether it has a joint.
class ZqLinkKinematicsContainer final : public ZqBaseExpressionTreeContainer<ZqLinkKinematics>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqManip::ZqLinkKinematicsContainerToken; }
   static ZqXmlObject* creator() { return new ZqLinkKinematicsContainer(); }
   const ZqToken& token() const override;
   void registerComponentCreators() override;
   static ZqLinkKinematicsContainer nullObject() { return {}; }
   bool operator==(const ZqLinkKinematicsContainer&) const = default;

   /// A D-H joint that is replaced by another D-H joint is assigned in place and keeps its address; in
   /// every other case the joint held is deleted and a clone of the new one held.
   void setTopElement(const ZqLinkKinematics& element) override;

   /// \name The joint's operations
   /// What an empty container answers stands behind each.
   /// @{
   virtual bool addChildArbdToParent(ZqArticulatedBodyDynamics& parent,
                                     const ZqArticulatedBodyDynamics& child, ZqReal jointPosition,
                                     ZqReal jointTorque,
                                     ZqReal effectiveInertia) const; ///< false
   virtual void scaleBy(ZqReal scale);                               ///< nothing
   virtual void transformBy(ZqCoordinateSystemTransformation& result,
                            ZqReal jointPosition) const; ///< nothing
   virtual ZqBoolean transformBy(const ZqCoordinateSystemTransformation& transformation); ///< false
   virtual ZqReal jointParameterScalability() const;                                      ///< 0.0
   virtual const ZqCoordinateSystemTransformation& primaryFrame() const;        ///< the identity
   virtual const ZqCoordinateSystemTransformation& primaryFrameInverse() const; ///< the identity
   /// Scales the joint and its primary frame, which not every joint scales itself.
   void resizeBy(ZqReal scale);
   /// An empty container rejects, with a message, any frame but the identity.
   virtual void setPrimaryFrame(const ZqCoordinateSystemTransformation& frame);
   virtual const ZqCoordinateSystemTransformation&
   calculateTransform(ZqReal jointPosition) const; ///< the identity
   virtual const ZqGeneralMotion& calculateVelocity(ZqReal jointPosition,
                                                    ZqReal jointVelocity) const; ///< zero
   virtual const ZqGeneralMotion& calculateAcceleration(ZqReal jointPosition, ZqReal jointVelocity,
                                                        ZqReal jointAcceleration) const; ///< zero
   virtual ZqReal unitAccelerationTorque(ZqReal jointPosition,
                                         const ZqArticulatedBodyInertia& inertia) const; ///< 0.0
   virtual ZqReal torqueRequiredToExert(ZqReal jointPosition,
                                        const ZqGeneralForce& force) const;      ///< 0.0
   virtual ZqU32 unitType() const;                                               ///< 2
   ZqCoordinateSystemTransformation transformAt(ZqReal jointPosition) const;     ///< the identity
   ZqGeneralMotion velocityAt(ZqReal jointPosition, ZqReal jointVelocity) const; ///< zero
   ZqGeneralMotion accelerationAt(ZqReal jointPosition, ZqReal jointVelocity,
                                  ZqReal jointAcceleration) const; ///< zero
   /// @}

private:
   /// What stands in for an absent joint.
   static const ZqCoordinateSystemTransformation m_theIdentity;
   static const ZqGeneralMotion m_theNullMotion;
};
