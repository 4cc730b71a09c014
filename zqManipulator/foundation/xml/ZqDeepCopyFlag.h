#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

namespace ZqFoundCommon
{
/// How much of an object that shares parts with others a copy shares with it.
enum DeepCopyFlag : ZqU32
{
   ShareWhatMayBeShared = 0,
   CopySystem = 1, ///< the system is the copy's own, shapes are shared
   CopyAll = 2     ///< nothing is shared
};
} // namespace ZqFoundCommon
