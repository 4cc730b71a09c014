#pragma once

#include "zqManipulator/dynamics/bodies/ZqInertiaKernels.h"
#include "zqManipulator/foundation/algebra/ZqVector.h"

class ZqShape;

/// Integrals over volumes of density one.
namespace zqVolume
{
/// A volume (m^3), its center (m), and the integral of r r^T dV about the center (m^5). Of a volume of zero
/// the center says nothing.
struct Integrals
{
   ZqReal volume = 0.0;
   ZqVector center;
   zqInertiaKernels::Symmetric spread{};

   /// Adds a volume beside this one. Moments stay about the common center throughout, so that nothing is
   /// lost for a body that is far from the origin (Chan, Golub and LeVeque 1979).
   void add(const Integrals& other) noexcept;
   void place(const ZqRotationMatrix& R, const ZqVector& t) noexcept;
};

/// Adds what fills a shape. False when that has no volume that is known; a shape that is flat adds nothing.
bool addShape(const ZqShape& shape, Integrals& sum);
} // namespace zqVolume
