#pragma once

#include "zqManipulator/foundation/geometry/ZqShapeContainer.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"

class ZqIndividualManipulator;
class ZqLinkEdit;
class ZqManipulatorActivePositionState;

/// A shape with a frame that is carried along by a moving member of a manipulator which is no link, such as
/// a side of a linkage.
class ZqBaseGeneralBoundObject
   : public ZqXmlAbstractClass<ZqBaseGeneralBoundObject, ZqXmlCompoundType>
{
public:
   template <class This = ZqBaseGeneralBoundObject>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_shapeContainer,
                                    &ZqManip::ZqGeneralBoundObjectShapeContainerToken,
                                    "shape, in the primary frame"},
                        ZqComponent{&This::m_primaryFrame, &ZqManip::ZqPrimaryFrameToken,
                                    "frame of the shape, in that of the member"}};
   }

   ZqBaseGeneralBoundObject() = default;
   /// A copy belongs to no manipulator, until it is put into one.
   ZqBaseGeneralBoundObject(const ZqBaseGeneralBoundObject& other);
   ZqBaseGeneralBoundObject& operator=(const ZqBaseGeneralBoundObject& other);
   bool operator==(const ZqBaseGeneralBoundObject& other) const;

   /// Null without a shape.
   virtual const ZqShape* shape() const { return m_shapeContainer.topElement(); }
   virtual void setShape(const ZqShape& shape) { m_shapeContainer.setTopElement(shape); }
   virtual const ZqCoordinateSystemTransformation& primaryFrame() const { return m_primaryFrame; }
   virtual void setPrimaryFrame(const ZqCoordinateSystemTransformation& frame)
   {
      m_primaryFrame = frame;
   }
   /// The primary frame in the system. What fails logs a message, and the last answer is given again. A
   /// reference into the object: for one thread at a time.
   virtual const ZqCoordinateSystemTransformation&
   locationInSystem(ZqManipulatorActivePositionState& activeState) const = 0;
   /// Follows the links that it speaks of. False when one of them is gone, and the object with it.
   virtual bool apply(const ZqLinkEdit&) { return true; }
   /// Scales all lengths.
   void scaleBy(ZqReal scale);

   /// \name The manipulator that has the object
   /// Not part of the value, not owned. The manipulator sets it.
   /// @{
   const ZqIndividualManipulator* manipulator() const { return m_manipulator; }
   void setManipulator(const ZqIndividualManipulator* manipulator) { m_manipulator = manipulator; }
   /// @}

protected:
   mutable ZqCoordinateSystemTransformation m_locationInSystem;

private:
   ZqShapeContainer m_shapeContainer;
   ZqCoordinateSystemTransformation m_primaryFrame;
   const ZqIndividualManipulator* m_manipulator = nullptr;
};
