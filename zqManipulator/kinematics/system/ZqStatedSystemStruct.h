#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

class ZqStatedSystem;

/// The scene that a query of a link may need: the stated system, which is not owned, and the index of
/// the link's manipulator in it.
class ZqStatedSystemStruct
{
public:
   ZqStatedSystemStruct(const ZqStatedSystem* statedSystem, ZqU32 manipulatorIndex)
      : m_statedSystemPtr(statedSystem), m_manipulatorIndex(manipulatorIndex)
   {
   }
   const ZqStatedSystem* statedSystemPtr() const { return m_statedSystemPtr; }
   ZqU32 manipulatorIndex() const { return m_manipulatorIndex; }

private:
   const ZqStatedSystem* m_statedSystemPtr;
   ZqU32 m_manipulatorIndex;
};
