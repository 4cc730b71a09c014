#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionTree.h"

/// The factors of a mass matrix, M = L^T D L from the leaves of the tree to the root, where L is lower
/// triangular with a unit diagonal (Featherstone 2008, section 6.5). Row i of L is zero but for the degrees
/// of freedom between joint i and the root, so that nothing is computed between branches.
///
/// A free base's six degrees of freedom are the root, one above the other. Of them the linear ones are
/// eliminated first, so that bodies without a moment of inertia turn no further than they have to: rows and
/// columns have the angular ones before the linear ones, and what is solved for the linear ones before the
/// angular ones.
namespace zqMotion
{
/// The space for a factor, which owns nothing: sizes say how much of it there must be.
struct Factor
{
   int size;          ///< the number of degrees of freedom
   int baseDofs;      ///< 6 for a free base
   std::size_t width; ///< of a row: `widthOfFactor`
   const int* depths; ///< by row, from 0 at the root: row i has depth + 1 elements
   const int* ends;   ///< by row: one past the last row outboard of it
   ZqReal* rows;      ///< size x width: D L, by depth
   ZqReal* inverse;   ///< by row, the inverse of D; zero where a pivot was nothing but rounding
   ZqReal* work;      ///< `workOfFactor`
   int* path;         ///< work space by depth
};

inline namespace ZQ_MOTION_TARGET
{
/// Rows are padded, so that they can be read in packs.
constexpr std::size_t widthOfFactor(int greatestDepth)
{
   return (static_cast<std::size_t>(greatestDepth) + 4) / 4 * 4;
}
constexpr std::size_t workOfFactor(int size, std::size_t width)
{
   return 4 * static_cast<std::size_t>(size) + 6 * width;
}

/// Writes the rows' depths and ends, and gives the greatest depth.
int shapeFactor(const Tree& tree, bool isBaseFree, int* depths, int* ends);

/// Takes the mass matrix from the motions and forces of joints, see `computeAxesAndForces`, with the inertia
/// of drives; with a free base, whose composite body is the whole, its coupling and inertia, too. `width` is
/// even.
void gatherFactor(const Tree& tree, const ZqReal* axes, const ZqReal* forces, std::size_t width,
                  const Composite<ZqReal>& whole, const Factor& factor);

/// Takes the mass matrix of the joints (n x n in rows of so many columns).
void gatherMassMatrix(const ZqReal* M, std::size_t columns, const Factor& factor);
/// Takes the inertia of a free base (6 x 6) and its coupling with the joints (n x 6), linear first.
void gatherBase(const ZqReal* inertia, const ZqReal* coupling, const Factor& factor);

/// Factors what was gathered, in place. A degree of freedom whose pivot is nothing but rounding is dropped:
/// what is solved for it is zero. One whose pivot is not finite makes all inboard of it NaN.
void eliminate(const Factor& factor);

/// Solves M x = b in place, the base's numbers first.
void solveFactored(const Factor& factor, ZqReal* x);

/// The same for four columns at once: number k of the four stands at x[4 i + k].
void solveFourFactored(const Factor& factor, ZqReal* x);

/// x^T M x: with velocities, twice the kinetic energy.
ZqReal squareOf(const Factor& factor, const ZqReal* x);
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
