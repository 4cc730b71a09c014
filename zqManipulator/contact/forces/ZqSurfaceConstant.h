#pragma once

#include "zqManipulator/foundation/geometry/ZqDataMap.h"

/// A constant of a pair of surfaces, made from the values that both have under one name.
struct ZqSurfaceConstant
{
   /// The name in the maps of surfaces.
   ZqString name;
   ZqReal (*combined)(ZqReal a, ZqReal b);

   /// A surface whose map is null or lacks the value has the fallback.
   ZqReal operator()(const ZqDataMap* a, const ZqDataMap* b, ZqReal fallback) const
   {
      return combined(valueIn(a, fallback), valueIn(b, fallback));
   }
   ZqReal valueIn(const ZqDataMap* surface, ZqReal fallback) const
   {
      if (surface != nullptr)
         surface->lookup(name, fallback);
      return fallback;
   }

   /// Of two springs one behind the other (N/m^e): ka kb / (ka + kb).
   static const ZqSurfaceConstant& spring();
   /// Of two dampers one behind the other (N s/m): ca cb / (ca + cb); zero where their sum is zero.
   static const ZqSurfaceConstant& damper();
   /// The mean of both exponents of the depth.
   static const ZqSurfaceConstant& exponent();
};
