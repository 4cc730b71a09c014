#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlEnumType.h"
#include "zqManipulator/simulation/interactions/ZqBaseLinkInteractions.h"
#include "zqManipulator/state/ZqUncopied.h"

#include <optional>

/// A door with a handle and a latch: a moment about the z axis of the door's D-H frame, by the positions
/// of the joints of two links of one manipulator.
///
/// The door is latched or free. In its first evaluation it is latched if it is within the bounds of a
/// closed door, those included. With d the position of the door, v its velocity and m the middle of the
/// bounds:
///
/// | door    | handle        | door in the frame | moment               | then                       |
/// |---------|---------------|-------------------|----------------------|----------------------------|
/// | latched | out of bounds | -                 | -((d - m) k + v c)   | latched                    |
/// | latched | within bounds | yes               | 0                    | latched                    |
/// | latched | within bounds | no                | 0                    | free                       |
/// | free    | out of bounds | strictly          | closedWithTurn: (bound - d) k + v c, with the bound on the door's side of m | free |
/// | free    | out of bounds | strictly          | closedWithoutTurn: 0 | latched                    |
/// | free    | within bounds | strictly          | 0                    | latched                    |
/// | free    | -             | not strictly      | 0                    | free                       |
///
/// The bounds of the handle are those within which it unlatches. The damper of the wall that keeps a
/// free door out of the frame pushes in the direction of the motion: it feeds energy.
///
/// A copy is as if it had never been evaluated. Numbers that are not finite are rejected by setters, with
/// a message.
class ZqLatchedDoorLinks : public ZqXmlClass<ZqLatchedDoorLinks, ZqBaseLinkInteractions>
{
public:
   enum LatchType : ZqU32
   {
      ClosedWithTurn = 0,   ///< a free door closes only while the handle is turned
      ClosedWithoutTurn = 1 ///< a free door that comes into the frame latches
   };

   ZqLatchedDoorLinks();

   static const ZqToken& classToken() { return ZqManip::ZqLatchedDoorLinksToken; }
   static constexpr const char* documentation = "a door with a handle and a latch";
   template <class This = ZqLatchedDoorLinks>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_latchType, &ZqManip::ZqLatchTypeToken, "how the door latches"},
         ZqComponent{&This::m_springConstant, &ZqManip::ZqSpringConstantToken,
                     "of the spring that holds the door in its frame, or out of it (N m/rad)"},
         ZqComponent{&This::m_damperConstant, &ZqManip::ZqDamperConstantToken,
                     "of the damper beside it (N m s/rad)"},
         ZqComponent{&This::m_manipulatorId, &ZqManip::ZqManipulatorIdToken,
                     "index of the manipulator"},
         ZqComponent{&This::m_doorLinkId, &ZqManip::ZqDoorLinkIdToken,
                     "index of the link whose joint is the hinge of the door"},
         ZqComponent{&This::m_handleLinkId, &ZqManip::ZqHandleLinkIdToken,
                     "index of the link whose joint turns the handle"},
         ZqComponent{&This::m_unlatchingAngleLowerBound, &ZqManip::ZqUnlatchingAngleLowerBoundToken,
                     "from which position on the handle unlatches the door (rad)"},
         ZqComponent{&This::m_unlatchingAngleUpperBound, &ZqManip::ZqUnlatchingAngleUpperBoundToken,
                     "and up to which one (rad)"},
         ZqComponent{&This::m_closedDoorAngleLowerBound, &ZqManip::ZqClosedDoorAngleLowerBoundToken,
                     "from which position on the door is in its frame (rad)"},
         ZqComponent{&This::m_closedDoorAngleUpperBound, &ZqManip::ZqClosedDoorAngleUpperBoundToken,
                     "and up to which one (rad)"}};
   }
   bool xmlInit() override;
   bool read(ZqXmlReader& reader) override;
   static ZqLatchedDoorLinks nullObject() { return {}; }
   /// Whether the door is latched or free takes no part.
   bool operator==(const ZqLatchedDoorLinks&) const = default;

   void forceBetweenLinks(ZqSystemActiveState& activeState, const ZqManipulatorSystem& system,
                          const ZqReal& time, const ZqXmlVectorType<ZqManipulatorTorque>& torques,
                          ZqXmlVectorType<ZqManipulatorExternalForce>& forces) const override;
   /// Holds k (d - m)^2 / 2 where the door is held in its frame, k (bound - d)^2 / 2 where it is kept out of it, and
   /// else nothing. Where one takes the place of the other, because the handle was turned or let go or the door
   /// latched, what the spring before would hold now less what the present one holds is released: below zero
   /// where a handle is let go and the spring takes hold of a door beside its middle. The damper loses c v^2; that
   /// of the wall gains it.
   ZqInteractionEnergy energy(ZqSystemActiveState& activeState,
                              const ZqManipulatorSystem& system) const override;
   /// Nothing before the first evaluation; then 1 for a free door or 0 for a latched one, the middle of the frame
   /// (rad), and what the spring does: 0 nothing, 1 it holds the door in the frame, 2 out of it, 3 not known, as when
   /// numbers are set of which this one is missing.
   ZqXmlVectorBasicType<ZqReal> memory() const override;
   bool setMemory(const ZqXmlVectorBasicType<ZqReal>& memory) override;
   void beginTrial() const override;
   void endTrial() const override;
   bool apply(const ZqModelEdit& edit) override;
   void scaleBy(const ZqModelScaling& scaling) override;
   virtual void registerLatchTypeEnumerations();

   virtual const ZqU32& latchType() const { return m_latchType; }
   /// A value that is no latch type is rejected with a message.
   virtual void setLatchType(ZqU32 type);
   virtual const ZqReal& springConstant() const { return m_springConstant; }
   virtual void setSpringConstant(ZqReal constant);
   virtual const ZqReal& damperConstant() const { return m_damperConstant; }
   virtual void setDamperConstant(ZqReal constant);
   virtual const ZqU32& manipulatorId() const { return m_manipulatorId; }
   virtual void setManipulatorId(ZqU32 index) { m_manipulatorId = index; }
   virtual const ZqU32& doorLinkId() const { return m_doorLinkId; }
   virtual void setDoorLinkId(ZqU32 index) { m_doorLinkId = index; }
   virtual const ZqU32& handleLinkId() const { return m_handleLinkId; }
   virtual void setHandleLinkId(ZqU32 index) { m_handleLinkId = index; }
   virtual const ZqReal& unlatchingAngleLowerBound() const { return m_unlatchingAngleLowerBound; }
   virtual void setUnlatchingAngleLowerBound(ZqReal angle);
   virtual const ZqReal& unlatchingAngleUpperBound() const { return m_unlatchingAngleUpperBound; }
   virtual void setUnlatchingAngleUpperBound(ZqReal angle);
   virtual const ZqReal& closedDoorAngleLowerBound() const { return m_closedDoorAngleLowerBound; }
   virtual void setClosedDoorAngleLowerBound(ZqReal angle);
   virtual const ZqReal& closedDoorAngleUpperBound() const { return m_closedDoorAngleUpperBound; }
   virtual void setClosedDoorAngleUpperBound(ZqReal angle);

protected:
   /// Of the first evaluation: takes the middle of the frame, and finds out whether the door is in it.
   void init(ZqReal doorAngle) const;

private:
   /// What the spring does; it may hold nothing with any.
   enum class Spring
   {
      None,
      HoldsIn,
      KeepsOut,
      Unknown ///< before the first evaluation
   };
   struct Latch
   {
      bool isInitialized = false;
      bool isDoorFree = false;
      ZqReal closedDoorCenter = 0.0;         ///< rad
      Spring spring = Spring::Unknown;       ///< in the last evaluation
      Spring springBefore = Spring::Unknown; ///< and in the one before
   };

   Spring leadLatchOn(ZqReal handleAngle, ZqReal doorAngle) const;
   ZqReal moment(ZqReal handleAngle, ZqReal doorAngle, ZqReal doorRate) const;
   std::optional<ZqReal> stretch(Spring spring, ZqReal doorAngle) const;
   ZqReal dampingOf(Spring spring) const;
   ZqInteractionEnergy energyAt(ZqReal doorAngle, ZqReal doorRate) const;

   ZqXmlEnumType<ZqU32> m_latchType;
   ZqReal m_springConstant = 0.0;
   ZqReal m_damperConstant = 0.0;
   ZqU32 m_manipulatorId = 0;
   ZqU32 m_doorLinkId = 0;
   ZqU32 m_handleLinkId = 0;
   ZqReal m_unlatchingAngleLowerBound = 0.0;
   ZqReal m_unlatchingAngleUpperBound = 0.0;
   ZqReal m_closedDoorAngleLowerBound = 0.0;
   ZqReal m_closedDoorAngleUpperBound = 0.0;
   mutable ZqUncopied<Latch> m_latch;
   mutable ZqUncopied<std::optional<Latch>> m_kept; ///< during a trial: that of before
};

extern template class ZqXmlClass<ZqLatchedDoorLinks, ZqBaseLinkInteractions>;
