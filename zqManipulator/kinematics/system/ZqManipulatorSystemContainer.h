#pragma once

#include "zqManipulator/foundation/xml/ZqXmlVariableSharedElementType.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"

extern template class ZqXmlVariableSharedElementType<ZqManipulatorSystem>;

/// Holds a system, at first a new empty one, that copies of the container share. It is never without
/// one: in place of none, it holds a new empty one.
class ZqManipulatorSystemContainer : public ZqXmlVariableSharedElementType<ZqManipulatorSystem>
{
public:
   ZqManipulatorSystemContainer();
   // No moves, which would leave the other one without a system.
   ZqManipulatorSystemContainer(const ZqManipulatorSystemContainer&) = default;
   ZqManipulatorSystemContainer& operator=(const ZqManipulatorSystemContainer&) = default;
   ~ZqManipulatorSystemContainer() override = default;
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool read(ZqXmlReader& reader) override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorSystemContainerToken; }
   static ZqXmlObject* creator() { return new ZqManipulatorSystemContainer(); }
   const ZqToken& token() const override;
   void registerComponentCreators() override;
   void setAndDeleteElementPointer(ZqManipulatorSystem* element) override;
   bool operator==(const ZqManipulatorSystemContainer&) const = default;
};
