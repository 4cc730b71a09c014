#include "zqManipulator/foundation/geometry/ZqBoxHierarchy.h"

#include <bit>

namespace zqConvex
{
namespace
{
using Reference = BoxHierarchy::Reference;
using Corner = std::array<float, 3>;

constexpr float infinity = std::numeric_limits<float>::infinity();

/// The greatest number of single precision that is surely not above x, from -infinity up to the
/// greatest finite one. What is taken away is more than half of the last place.
float roundedDown(ZqReal x) noexcept
{
   constexpr ZqReal greatest = std::numeric_limits<float>::max();
   const ZqReal y = x - (std::abs(x) * 0x1p-23 + 0x1p-149);
   return y >= -greatest ? static_cast<float>(std::min(y, greatest)) : -infinity;
}
float roundedUp(ZqReal x) noexcept
{
   return -roundedDown(-x);
}

/// Joins b to a.
template <class A, class B>
void include(A& a, const B& b) noexcept
{
   for (int k = 0; k < 3; ++k)
   {
      a.lower[k] = std::min(a.lower[k], b.lower[k]);
      a.upper[k] = std::max(a.upper[k], b.upper[k]);
   }
}

/// Half the surface; zero of what is empty.
template <class Box>
ZqReal areaOf(const Box& box) noexcept
{
   if (!(box.lower[0] <= box.upper[0]))
      return 0.0;
   const ZqReal x = ZqReal(box.upper[0]) - box.lower[0];
   const ZqReal y = ZqReal(box.upper[1]) - box.lower[1];
   const ZqReal z = ZqReal(box.upper[2]) - box.lower[2];
   return x * y + y * z + z * x;
}

struct Bin
{
   Corner lower{infinity, infinity, infinity};
   Corner upper{-infinity, -infinity, -infinity};
   int count = 0;

   ZqReal cost() const noexcept { return areaOf(*this) * count; }
   void add(const Bin& bin) noexcept
   {
      include(*this, bin);
      count += bin.count;
   }
};
constexpr int binCount = 16;

/// Slices of the extent of the centers along the longest axis.
struct Slices
{
   int axis = 0;
   float start = 0.0F;
   float extent = 0.0F;
   float scale = 0.0F; ///< to slices

   explicit Slices(std::span<const Reference> references) noexcept
   {
      Corner lower = references[0].center;
      Corner upper = lower;
      for (const Reference& r : references)
         for (int k = 0; k < 3; ++k)
         {
            lower[k] = std::min(lower[k], r.center[k]);
            upper[k] = std::max(upper[k], r.center[k]);
         }
      for (int k = 0; k < 3; ++k)
         if (upper[k] - lower[k] > extent)
         {
            axis = k;
            start = lower[k];
            extent = upper[k] - lower[k];
         }
      scale = binCount / extent;
   }
   /// The last one when the extent is too small to divide by.
   int operator()(const Reference& r) const noexcept
   {
      constexpr float last = binCount - 1;
      return static_cast<int>(std::min(last, (r.center[axis] - start) * scale));
   }
};

/// The first slice of the right part where the two parts are cheapest to walk; 0 when none parts
/// them.
int cheapestSlice(std::span<const Reference> references, const Slices& sliceOf) noexcept
{
   std::array<Bin, binCount> bins;
   for (const Reference& r : references)
   {
      Bin& bin = bins[sliceOf(r)];
      include(bin, r);
      ++bin.count;
   }
   std::array<ZqReal, binCount> right{};
   Bin sum;
   for (int k = binCount - 1; k > 0; --k)
   {
      sum.add(bins[k]);
      right[k] = sum.cost();
   }
   const int all = static_cast<int>(references.size());
   int best = 0;
   ZqReal least = std::numeric_limits<ZqReal>::infinity();
   sum = {};
   for (int k = 1; k < binCount; ++k)
   {
      sum.add(bins[k - 1]);
      const ZqReal cost = sum.cost() + right[k];
      if (cost < least && sum.count > 0 && sum.count < all)
      {
         least = cost;
         best = k;
      }
   }
   return best;
}

/// Brings those of the left part to the front, and says how many they are: at least one, and not
/// all. Halves where slices do not help or the depth that is left gets short.
int parted(std::span<Reference> references, int depthLeft)
{
   const Slices slices(references);
   const std::size_t count = references.size();
   if (count > 8 && slices.extent > 0.0F && depthLeft > static_cast<int>(std::bit_width(count)))
      if (const int slice = cheapestSlice(references, slices))
         return static_cast<int>(std::partition(references.begin(), references.end(),
                                                [&](const Reference& r)
                                                { return slices(r) < slice; }) -
                                 references.begin());
   const auto middle = references.begin() + static_cast<std::ptrdiff_t>(count / 2);
   std::nth_element(references.begin(), middle, references.end(),
                    [axis = slices.axis](const Reference& a, const Reference& b)
                    { return a.center[axis] < b.center[axis]; });
   return static_cast<int>(count / 2);
}

/// The middle of those boxes that are not too far out, so that the numbers of most are small.
Vec3 middleOf(std::span<const AlignedBox> boxes) noexcept
{
   constexpr ZqReal farthest = 1e15;
   AlignedBox all = AlignedBox::empty();
   for (const AlignedBox& box : boxes)
      if (!box.isEmpty() && largest(box.lower) <= farthest && largest(box.upper) <= farthest)
         for (int k = 0; k < 3; ++k)
         {
            all.lower[k] = std::min(all.lower[k], box.lower[k]);
            all.upper[k] = std::max(all.upper[k], box.upper[k]);
         }
   return all.isEmpty() ? Vec3{0.0, 0.0, 0.0} : (all.lower + all.upper) * 0.5;
}
} // namespace

void BoxHierarchy::build(std::span<const AlignedBox> boxes)
{
   std::vector<Reference> space;
   build(boxes, space);
}

void BoxHierarchy::build(std::span<const AlignedBox> boxes, std::vector<Reference>& space)
{
   m_origin = middleOf(boxes);
   space.resize(boxes.size());
   for (std::size_t i = 0; i < boxes.size(); ++i)
   {
      Node leaf;
      setRounded(leaf, boxes[i]);
      Reference& r = space[i];
      r = {leaf.lower, leaf.upper, {}, static_cast<int>(i)};
      // Of opposite infinities the middle is zero.
      for (int k = 0; k < 3; ++k)
         r.center[k] =
            std::clamp(leaf.lower[k], -1e30F, 1e30F) + std::clamp(leaf.upper[k], -1e30F, 1e30F);
   }
   layOut(space);
   refit();
   m_builtArea = m_area;
}

// A tree of n items takes 2 n - 1 nodes, so that each subtree has its place before it is made.
void BoxHierarchy::layOut(std::vector<Reference>& references)
{
   const int count = static_cast<int>(references.size());
   const std::size_t nodes = count > 0 ? 2 * references.size() - 1 : 0;
   m_nodes.resize(nodes);
   m_parents.resize(nodes);
   m_leaves.resize(references.size());
   struct Job
   {
      int first, count, node, parent, depth;
   };
   std::array<Job, depthLimit + 2> jobs;
   int waiting = 0;
   if (count > 0)
      jobs[waiting++] = {0, count, 0, -1, 0};
   while (waiting > 0)
   {
      const Job job = jobs[--waiting];
      Node& node = m_nodes[job.node];
      m_parents[job.node] = job.parent;
      node.next = job.node + 2 * job.count - 1;
      node.item = -1;
      if (job.count == 1)
      {
         const Reference& r = references[job.first];
         node = {r.lower, r.upper, node.next, r.item};
         m_leaves[r.item] = job.node;
         continue;
      }
      const int left =
         parted(std::span(references).subspan(job.first, job.count), depthLimit - job.depth);
      jobs[waiting++] = {job.first + left, job.count - left, job.node + 2 * left, job.node,
                         job.depth + 1};
      jobs[waiting++] = {job.first, left, job.node + 1, job.node, job.depth + 1};
   }
}

void BoxHierarchy::refit(std::span<const AlignedBox> boxes) noexcept
{
   for (std::size_t i = 0; i < m_leaves.size(); ++i)
      setLeaf(static_cast<int>(i), boxes[i]);
   refit();
}

void BoxHierarchy::refit() noexcept
{
   m_area = 0.0;
   for (std::size_t i = m_nodes.size(); i-- > 0;)
   {
      Node& node = m_nodes[i];
      if (node.item >= 0)
         continue;
      const Node& left = m_nodes[i + 1];
      node.lower = left.lower;
      node.upper = left.upper;
      include(node, m_nodes[left.next]);
      m_area += areaOf(node);
   }
}

void BoxHierarchy::setLeaf(int item, const AlignedBox& box) noexcept
{
   setRounded(m_nodes[m_leaves[item]], box);
}

void BoxHierarchy::setBox(int item, const AlignedBox& box) noexcept
{
   setLeaf(item, box);
   for (int i = m_parents[m_leaves[item]]; i >= 0; i = m_parents[i])
   {
      Node& node = m_nodes[i];
      Node fitted = m_nodes[i + 1];
      include(fitted, m_nodes[fitted.next]);
      if (fitted.lower == node.lower && fitted.upper == node.upper)
         break;
      m_area += areaOf(fitted) - areaOf(node);
      node.lower = fitted.lower;
      node.upper = fitted.upper;
   }
}

bool BoxHierarchy::isNear(int item, const AlignedBox& box) const noexcept
{
   const int parent = m_parents[m_leaves[item]];
   if (parent < 0)
      return true;
   AlignedBox around = exact(m_nodes[parent]);
   const ZqReal size = largest(around.upper - around.lower);
   around.lower += Vec3{-size, -size, -size};
   around.upper += Vec3{size, size, size};
   return !around.isEmpty() && zqConvex::overlap(around, box);
}

AlignedBox BoxHierarchy::bounds() const noexcept
{
   return m_nodes.empty() ? AlignedBox::empty() : exact(m_nodes.front());
}

AlignedBox BoxHierarchy::box(int item) const noexcept
{
   return exact(m_nodes[m_leaves[item]]);
}

void BoxHierarchy::setRounded(Node& node, const AlignedBox& box) const noexcept
{
   const bool isEmpty = box.isEmpty();
   for (int k = 0; k < 3; ++k)
   {
      node.lower[k] = isEmpty ? infinity : roundedDown(box.lower[k] - m_origin[k]);
      node.upper[k] = isEmpty ? -infinity : roundedUp(box.upper[k] - m_origin[k]);
   }
}

AlignedBox BoxHierarchy::exact(const Node& node) const noexcept
{
   const AlignedBox box = widened(node);
   return {box.lower + m_origin, box.upper + m_origin};
}
} // namespace zqConvex
