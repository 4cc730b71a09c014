#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlMapType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

extern template class ZqXmlVectorType<ZqCoordinateSystemTransformation>;
extern template class ZqXmlVectorType<ZqGeneralMotion>;

/// What an attachment node remembers of the manipulators that hang on it: their indices, and the frame
/// and the velocity of the base of each.
class ZqAttachmentNodeState : public ZqXmlClass<ZqAttachmentNodeState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorAttachmentNodeToken; }
   static constexpr const char* documentation =
      "the manipulators that hang on a node of attachments";
   template <class This = ZqAttachmentNodeState>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_dependentManipulatorIndices,
                                    &ZqManip::ZqDependentManipulatorIndicesToken,
                                    "indices of the manipulators"},
                        ZqComponent{&This::m_basePositions, &ZqManip::ZqBasePositionsToken,
                                    "frame of the base of each"},
                        ZqComponent{&This::m_baseVelocities, &ZqManip::ZqBaseVelocitiesToken,
                                    "velocity of the base of each"}};
   }
   static ZqAttachmentNodeState nullObject() { return {}; }
   bool operator==(const ZqAttachmentNodeState&) const = default;

   virtual ZqXmlVectorBasicType<ZqU32>& dependentManipulatorIndices()
   {
      return m_dependentManipulatorIndices;
   }
   virtual const ZqXmlVectorBasicType<ZqU32>& dependentManipulatorIndices() const
   {
      return m_dependentManipulatorIndices;
   }
   virtual void setDependentManipulatorIndices(const ZqXmlVectorBasicType<ZqU32>& indices)
   {
      m_dependentManipulatorIndices = indices;
   }
   virtual ZqXmlVectorType<ZqCoordinateSystemTransformation>& basePositions()
   {
      return m_basePositions;
   }
   virtual const ZqXmlVectorType<ZqCoordinateSystemTransformation>& basePositions() const
   {
      return m_basePositions;
   }
   virtual void setBasePositions(const ZqXmlVectorType<ZqCoordinateSystemTransformation>& positions)
   {
      m_basePositions = positions;
   }
   virtual ZqXmlVectorType<ZqGeneralMotion>& baseVelocities() { return m_baseVelocities; }
   virtual const ZqXmlVectorType<ZqGeneralMotion>& baseVelocities() const
   {
      return m_baseVelocities;
   }
   virtual void setBaseVelocities(const ZqXmlVectorType<ZqGeneralMotion>& velocities)
   {
      m_baseVelocities = velocities;
   }

private:
   ZqXmlVectorBasicType<ZqU32> m_dependentManipulatorIndices;
   ZqXmlVectorType<ZqCoordinateSystemTransformation> m_basePositions;
   ZqXmlVectorType<ZqGeneralMotion> m_baseVelocities;
};

/// The attachments of a whole system: what hangs on the system itself, and what on each manipulator,
/// by its index.
class ZqAttachmentMapState : public ZqXmlClass<ZqAttachmentMapState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqAttachmentMapStateToken; }
   static constexpr const char* documentation = "the attachments of a system";
   template <class This = ZqAttachmentMapState>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_systemAttachmentState,
                                    &ZqManip::ZqSystemAttachmentStateToken,
                                    "what hangs on the system itself"},
                        ZqComponent{&This::m_manipulatorAttachmentStates,
                                    &ZqManip::ZqManipulatorAttachmentStatesToken,
                                    "what hangs on each manipulator, by its index"}};
   }
   static ZqAttachmentMapState nullObject() { return {}; }
   bool operator==(const ZqAttachmentMapState&) const = default;

   virtual ZqAttachmentNodeState& systemAttachmentState() { return m_systemAttachmentState; }
   virtual const ZqAttachmentNodeState& systemAttachmentState() const
   {
      return m_systemAttachmentState;
   }
   virtual void setSystemAttachmentState(const ZqAttachmentNodeState& state)
   {
      m_systemAttachmentState = state;
   }
   /// A manipulator that has no state yet gets an empty one, which counts in equality.
   virtual ZqAttachmentNodeState& manipulatorAttachmentState(unsigned manipulatorIndex);
   virtual void setManipulatorAttachmentState(unsigned manipulatorIndex,
                                              const ZqAttachmentNodeState& state);

private:
   ZqAttachmentNodeState m_systemAttachmentState;
   ZqXmlMapType<ZqU32, ZqAttachmentNodeState> m_manipulatorAttachmentStates;
};

extern template class ZqXmlMapType<ZqU32, ZqAttachmentNodeState>;

extern template class ZqXmlClass<ZqAttachmentNodeState>;
extern template class ZqXmlClass<ZqAttachmentMapState>;
