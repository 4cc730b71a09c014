#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/xml/ZqXmlMapType.h"
#include "zqManipulator/foundation/xml/ZqXmlPairType.h"
#include "zqManipulator/tools/labels/ZqManipulatorLinkIdentifier.h"

#include <vector>

class ZqIndividualManipulator;
class ZqManipulatorActiveState;
template <class T>
class ZqXmlVectorType;

extern template class ZqXmlPairType<ZqManipulatorLinkIdentifier, ZqCoordinateSystemTransformation>;
extern template class ZqXmlMapType<
   ZqU32, ZqXmlPairType<ZqManipulatorLinkIdentifier, ZqCoordinateSystemTransformation>>;

/// The attachments of a system as old documents hold them: for a manipulator the link that carries it,
/// and its frame in the primary frame of the link. `ZqManipulatorAttachmentMap` takes them over.
///
/// Nothing keeps the entries from forming a ring. Queries that follow them answer as the converted map
/// does, without the entries that close one.
class ZqOldManipulatorAttachmentMap
   : public ZqXmlMapType<
        ZqU32, ZqXmlPairType<ZqManipulatorLinkIdentifier, ZqCoordinateSystemTransformation>>
{
public:
   ZqXmlObject* clone() const override { return new ZqOldManipulatorAttachmentMap(*this); }
   ZqXmlObject* newObject() const override { return new ZqOldManipulatorAttachmentMap(); }
   bool equality(const ZqXmlObject* other) const override;
   static ZqXmlObject* creator() { return new ZqOldManipulatorAttachmentMap(); }
   bool operator==(const ZqOldManipulatorAttachmentMap&) const = default;

   /// False when the manipulator is the base itself, or has an entry.
   bool attachManipulator(ZqU32 manipulatorIndex, ZqU32 baseManipulatorIndex,
                          const ZqString& linkLabel,
                          const ZqCoordinateSystemTransformation& offset);
   /// Where all that hangs on a manipulator is, as told at `ZqManipulatorAttachmentMap`.
   bool calculateBaseLocations(ZqU32 manipulatorIndex,
                               const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
                               ZqXmlVectorType<ZqManipulatorActiveState>& activeStates,
                               std::vector<ZqU32>& indices,
                               std::vector<ZqCoordinateSystemTransformation>& positions) const;
   /// All that hangs on a manipulator, directly or on others that do, depth first.
   std::vector<ZqU32> dependentManipulators(ZqU32 manipulatorIndex) const;
   /// Where a manipulator hangs. False when it has no entry.
   bool getDependentManipulatorInfo(ZqU32 manipulatorIndex, ZqU32& baseManipulatorIndex,
                                    ZqString& linkLabel,
                                    ZqCoordinateSystemTransformation& offset) const;
   /// What hangs on one link, in the order of the indices. False when nothing does.
   bool
   getDependentManipulatorsAndOffsets(ZqU32 manipulatorIndex, const ZqString& linkLabel,
                                      std::vector<ZqU32>& indices,
                                      std::vector<ZqCoordinateSystemTransformation>& offsets) const;
   /// False when the manipulator has no entry.
   bool removeManipulatorAttachment(ZqU32 manipulatorIndex);
   /// Attachments follow manipulators and links, and go with them.
   void apply(const ZqModelEdit& edit);
};
