#pragma once

#include "apps/zqsim/output.h"
#include "zqManipulator/tools/urdf/ZqConversionLoss.h"

namespace zqsim
{
/// A list of objects of kind, place, element, text, and line where it is known.
Json toJson(const ZqConversionLosses& losses);
/// Prints what a conversion could not carry over to standard output: a line each and how many they are,
/// or as JSON, an object with the list as "losses".
void printLosses(const ZqConversionLosses& losses, bool json);
/// The same in lines to standard error, where standard output has the document.
void warnOfLosses(const ZqConversionLosses& losses);
} // namespace zqsim
