#pragma once

#include "zqManipulator/kinematics/joint/ZqBaseGeneralBoundObject.h"
#include "zqManipulator/kinematics/joint/ZqQuadrilateralTypeLink.h"

/// Goes with a member of the linkage that moves a link: see `ZqQuadrilateralTypeLink`.
class ZqBaseQuadrilateralObject
   : public ZqXmlAbstractClass<ZqBaseQuadrilateralObject, ZqBaseGeneralBoundObject>
{
public:
   template <class This = ZqBaseQuadrilateralObject>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_linkIdentifier, &ZqManip::ZqLinkIdentifierToken,
                                    "label of the link that the linkage moves"}};
   }
   bool operator==(const ZqBaseQuadrilateralObject&) const = default;

   virtual const ZqString& linkIdentifier() const { return m_linkIdentifier; }
   virtual void setlinkIdentifier(const ZqString& label) { m_linkIdentifier = label; }
   /// A link that is not there, whose joint is none of this kind, or that the state does not have is
   /// rejected with a message, and so is an object that belongs to no manipulator.
   const ZqCoordinateSystemTransformation&
   locationInSystem(ZqManipulatorActivePositionState& activeState) const override;
   bool apply(const ZqLinkEdit& edit) override;

protected:
   /// What sets the classes apart.
   struct Member
   {
      const char* name; ///< of the class
      ZqQuadrilateralTypeLink::JointType jointType;
      ZqCoordinateSystemTransformation (ZqQuadrilateralTypeLink::*frame)(ZqReal) const;
   };

private:
   virtual const Member& member() const = 0;

   ZqString m_linkIdentifier;
};

/// The pivot, with the axes of the precursor, of a fixed slider: frame A.
class ZqQuadrilateralFixedSliderJointOAObject
   : public ZqXmlClass<ZqQuadrilateralFixedSliderJointOAObject, ZqBaseQuadrilateralObject>
{
public:
   static const ZqToken& classToken()
   {
      return ZqManip::ZqQuadrilateralFixedSliderJointOAObjectToken;
   }
   static constexpr const char* documentation =
      "a shape that goes with the pivot of a fixed slider";
   static constexpr auto components() { return std::tuple{}; }
   static ZqQuadrilateralFixedSliderJointOAObject nullObject() { return {}; }
   bool operator==(const ZqQuadrilateralFixedSliderJointOAObject&) const = default;

private:
   const Member& member() const override;
};

/// The side from C to the end of d2, of a fixed slider: frame B.
class ZqQuadrilateralFixedSliderJointCBObject
   : public ZqXmlClass<ZqQuadrilateralFixedSliderJointCBObject, ZqBaseQuadrilateralObject>
{
public:
   static const ZqToken& classToken()
   {
      return ZqManip::ZqQuadrilateralFixedSliderJointCBObjectToken;
   }
   static constexpr const char* documentation =
      "a shape that goes with the opposite side of a fixed slider";
   static constexpr auto components() { return std::tuple{}; }
   static ZqQuadrilateralFixedSliderJointCBObject nullObject() { return {}; }
   bool operator==(const ZqQuadrilateralFixedSliderJointCBObject&) const = default;

private:
   const Member& member() const override;
};

/// The end of a pivoted slider at the link: frame B.
class ZqQuadrilateralPivotedSliderJointBObject
   : public ZqXmlClass<ZqQuadrilateralPivotedSliderJointBObject, ZqBaseQuadrilateralObject>
{
public:
   static const ZqToken& classToken()
   {
      return ZqManip::ZqQuadrilateralPivotedSliderJointBObjectToken;
   }
   static constexpr const char* documentation =
      "a shape that goes with the moving end of a pivoted slider";
   static constexpr auto components() { return std::tuple{}; }
   static ZqQuadrilateralPivotedSliderJointBObject nullObject() { return {}; }
   bool operator==(const ZqQuadrilateralPivotedSliderJointBObject&) const = default;

private:
   const Member& member() const override;
};

/// The end of a pivoted slider at C: frame C.
class ZqQuadrilateralPivotedSliderJointCObject
   : public ZqXmlClass<ZqQuadrilateralPivotedSliderJointCObject, ZqBaseQuadrilateralObject>
{
public:
   static const ZqToken& classToken()
   {
      return ZqManip::ZqQuadrilateralPivotedSliderJointCObjectToken;
   }
   static constexpr const char* documentation =
      "a shape that goes with the fixed end of a pivoted slider";
   static constexpr auto components() { return std::tuple{}; }
   static ZqQuadrilateralPivotedSliderJointCObject nullObject() { return {}; }
   bool operator==(const ZqQuadrilateralPivotedSliderJointCObject&) const = default;

private:
   const Member& member() const override;
};

extern template class ZqXmlClass<ZqQuadrilateralFixedSliderJointOAObject,
                                 ZqBaseQuadrilateralObject>;
extern template class ZqXmlClass<ZqQuadrilateralFixedSliderJointCBObject,
                                 ZqBaseQuadrilateralObject>;
extern template class ZqXmlClass<ZqQuadrilateralPivotedSliderJointBObject,
                                 ZqBaseQuadrilateralObject>;
extern template class ZqXmlClass<ZqQuadrilateralPivotedSliderJointCObject,
                                 ZqBaseQuadrilateralObject>;
