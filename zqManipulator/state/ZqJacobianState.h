#pragma once

#include "zqManipulator/foundation/algebra/ZqReArray.h"

#include <vector>

/// The Jacobian of a manipulator, and what is derived from it: a basis of its kernel and its factors,
/// which are computed when they are first asked for after a change.
///
/// The Jacobian is r x c, with one column for each degree of freedom. Its kernel is c x (c - rank), its
/// factors are those of `ZqReArray::nullSpaceAndLu`, of m x m with m the larger of r and c.
///
/// What is asked for may be computed and kept: for one thread at a time.
class ZqJacobianState
{
public:
   ZqJacobianState() = default;
   ZqJacobianState(const ZqJacobianState&) = default;
   ZqJacobianState& operator=(const ZqJacobianState&) = default;
   virtual ~ZqJacobianState() = default;
   bool operator==(const ZqJacobianState&) const = default;

   /// Nothing is valid any more. Whether the Jacobian is sparse, and its lists, stay.
   virtual void invalidateAll();
   /// The last one that was set, with a message when it is not valid.
   virtual const ZqReArray& jacobian() const;
   /// To be filled by the caller; it counts as valid from now on, and what is derived from it as not.
   virtual ZqReArray& jacobianReferenceToSet();
   virtual void setJacobian(const ZqReArray& jacobian);
   virtual bool jacobianValid() const { return m_jacobianValid; }
   /// A weighted form, which its producer sets.
   virtual const ZqReArray& softJacobian() const;
   virtual ZqReArray& softJacobianReferenceToSet();
   virtual void setSoftJacobian(const ZqReArray& jacobian);
   virtual bool softJacobianValid() const { return m_softJacobianValid; }
   /// Its columns are a basis of the kernel: c x (c - rank), of no columns where the kernel is nothing.
   virtual const ZqReArray& nullSpace();
   virtual void setNullSpace(const ZqReArray& nullSpace);
   virtual bool nullSpaceValid() const { return m_nullSpaceValid; }
   /// A message, and nothing else, without a valid Jacobian. Numbers that are not finite leave kernel and
   /// pivots empty and not valid.
   virtual void calculateNullSpaceAndJacobianLU();
   /// \name Where a sparse Jacobian has its nonzeros
   /// In row i from column sparsityIndices[i], the first, to zeroStart[i], one after the last.
   /// @{
   virtual std::vector<ZqU32>& sparsityIndices() { return m_sparsityIndices; }
   virtual const std::vector<ZqU32>& sparsityIndices() const { return m_sparsityIndices; }
   virtual std::vector<ZqU32>& zeroStart() { return m_zeroStart; }
   /// For the producer: whether the lists are those of the present model.
   virtual bool sparsityValid() const { return m_sparsityValid; }
   virtual void setSparsityValid(bool valid) { m_sparsityValid = valid; }
   /// Whether the factors heed the lists.
   virtual bool isSparse() const { return m_isSparse; }
   virtual void setIsSparse(bool sparse) { m_isSparse = sparse; }
   /// @}
   virtual const ZqReArray& jacobianLU();
   /// The pivots of the factors.
   virtual const std::vector<ZqU32>& indices();
   /// How near to a singular position the manipulator is, as its producer measures it.
   virtual ZqReal singularityProximityMeasure() const { return m_singularityProximityMeasure; }
   virtual void setSingularityProximityMeasure(ZqReal measure);
   virtual bool singularityProximityMeasureValid() const
   {
      return m_singularityProximityMeasureValid;
   }

private:
   ZqReArray m_jacobian;
   ZqReArray m_softJacobian;
   ZqReArray m_nullSpace;
   ZqReArray m_jacobianLU;
   std::vector<ZqU32> m_indices;
   bool m_jacobianValid = false;
   bool m_softJacobianValid = false;
   bool m_nullSpaceValid = false;
   bool m_jacobianLUValid = false;
   std::vector<ZqU32> m_zeroStart;
   std::vector<ZqU32> m_sparsityIndices;
   bool m_sparsityValid = false;
   bool m_isSparse = false;
   ZqReal m_singularityProximityMeasure = 0.0;
   bool m_singularityProximityMeasureValid = false;
};
