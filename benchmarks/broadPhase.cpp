// The broad phase beside those of other libraries, as far as these were found: 10,000 boxes, the
// same moves for all, and every number of pairs compared.
//
//    broadPhaseBenchmark [text...]    only the rows that have one of the texts in their title

#include "broadPhaseLibrary.h"
#include "support/randomValues.h"
#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"
#include "zqManipulator/foundation/proximity/ZqIntervalIntersectionProcessor.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace
{
using namespace zqBenchmark;

constexpr unsigned boxCount = 10000;
constexpr std::size_t settlingSteps = 60;
constexpr std::size_t steps = 160; ///< with those of settling
constexpr int repetitions = 3;

class Ours : public BroadPhase
{
public:
   explicit Ours(const std::vector<Box>& boxes) : BroadPhase("ours")
   {
      std::vector<ZqAxisAlignedBoundingBox> ours;
      for (const Box& box : boxes)
         ours.push_back(toOurs(box));
      m_processor.setBoxes(ours);
   }
   void prepare(const Moves& moves) override
   {
      m_moves.clear();
      for (const Move& move : moves)
         m_moves.emplace_back(move.id, toOurs(move.box));
   }
   std::size_t run() override
   {
      for (const auto& [id, box] : m_moves)
         m_processor.updateBox(id, box);
      std::size_t count = 0;
      for (const auto& [i, j] : m_processor.overlaps())
         count += i < j ? 1 : 0;
      return count;
   }

private:
   static ZqAxisAlignedBoundingBox toOurs(const Box& box)
   {
      return {{box.lower[0], box.lower[1], box.lower[2]},
              {box.upper[0], box.upper[1], box.upper[2]}};
   }
   ZqIntervalIntersectionProcessor m_processor;
   std::vector<std::pair<unsigned, ZqAxisAlignedBoundingBox>> m_moves;
};

struct Scene
{
   const char* name;
   std::array<double, 3> extent; ///< in which centers stand
   bool isCrowded;
};
/// Far apart; a heap, in which each box overlaps some four others; one layer.
const Scene scenes[] = {{"open", {86.0, 86.0, 86.0}, false},
                        {"pile", {23.7, 23.7, 23.7}, true},
                        {"plane", {120.0, 120.0, 0.1}, true}};

struct Motion
{
   const char* name;
   double share, step;
};
const Motion motions[] = {
   {"1 % by 0.01", 0.01, 0.01}, {"all by 0.01", 1.0, 0.01}, {"all by 0.3", 1.0, 0.3}};

/// Walks that turn back, so that the density stays.
struct Walk
{
   std::vector<Box> boxes;
   std::vector<Moves> moves;

   Walk(const Scene& scene, const Motion& motion)
   {
      zqTest::RandomValues random(7);
      std::vector<std::array<double, 3>> velocities(boxCount);
      for (unsigned i = 0; i < boxCount; ++i)
      {
         Box& box = boxes.emplace_back();
         for (std::size_t k = 0; k < 3; ++k)
         {
            const double center = random.real(0.0, scene.extent[k]);
            const double half = random.real(0.3, 0.6);
            box.lower[k] = center - half;
            box.upper[k] = center + half;
            velocities[i][k] = random.real(-1.0, 1.0) * motion.step * (k < 2 ? 1.0 : 0.2);
         }
      }
      std::vector<Box> now = boxes;
      for (std::size_t step = 0; step < steps; ++step)
      {
         Moves& made = moves.emplace_back();
         // First all move, so that each box stands anywhere within whatever margin a library gives
         // it.
         const double share = step < settlingSteps ? 1.0 : motion.share;
         for (unsigned n = 0; n < boxCount * share; ++n)
         {
            const unsigned i = share < 1.0 ? random.index(0, boxCount - 1) : n;
            for (std::size_t k = 0; k < 3; ++k)
            {
               double& v = velocities[i][k];
               if (std::abs(now[i].lower[k] + v - boxes[i].lower[k]) > 1.0)
                  v = -v;
               now[i].lower[k] += v;
               now[i].upper[k] += v;
            }
            made.push_back({i, now[i]});
         }
      }
   }
};

/// Microseconds of a step, on average over those after settling; of each the least of all
/// repetitions, so that what else the machine does counts little, and what the library does now and
/// then counts.
class Measurement
{
public:
   Measurement(const Scene& scene, const Walk& walk)
   {
      for (int repetition = 0; repetition < repetitions; ++repetition)
      {
         BroadPhases libraries;
         libraries.push_back(std::make_unique<Ours>(walk.boxes));
#ifdef ZQ_WITH_FCL
         addFcl(walk.boxes, scene.isCrowded, libraries);
#endif
#ifdef ZQ_WITH_BULLET
         addBullet(walk.boxes, libraries);
#endif
         m_times.resize(libraries.size(), std::vector<double>(steps, 1e300));
         for (std::size_t i = 0; i < libraries.size(); ++i)
            for (std::size_t step = 0; step < steps; ++step)
               run(*libraries[i], walk, step, m_times[i][step]);
         m_libraries = std::move(libraries);
      }
   }
   void print(const char* title) const
   {
      double best = 1e300;
      std::printf("%-22s %8zu", title, m_pairs.back());
      for (std::size_t i = 0; i < m_times.size(); ++i)
      {
         double sum = 0.0;
         for (std::size_t step = settlingSteps; step < steps; ++step)
            sum += m_times[i][step] / static_cast<double>(steps - settlingSteps);
         std::printf("  %s %.1f", m_libraries[i]->name().c_str(), sum);
         if (i > 0)
            best = std::min(best, sum);
         else
            m_ours = sum;
      }
      if (m_times.size() > 1)
         std::printf("  best peer / ours %.1f", best / m_ours);
      std::printf("%s\n", m_agree ? "" : "  NOT THE SAME PAIRS");
   }

private:
   void run(BroadPhase& library, const Walk& walk, std::size_t step, double& least)
   {
      using Clock = std::chrono::steady_clock;
      library.prepare(walk.moves[step]);
      const auto start = Clock::now();
      const std::size_t pairs = library.run();
      const std::chrono::duration<double, std::micro> time = Clock::now() - start;
      least = std::min(least, time.count());
      if (m_pairs.size() < steps)
         m_pairs.push_back(pairs);
      m_agree = m_agree && pairs == m_pairs[step];
   }

   BroadPhases m_libraries;
   std::vector<std::vector<double>> m_times;
   std::vector<std::size_t> m_pairs; ///< by step
   bool m_agree = true;
   mutable double m_ours = 0.0;
};
} // namespace

int main(int argc, char** argv)
{
   std::printf("%u boxes; pairs, and microseconds a step\n", boxCount);
   for (const Scene& scene : scenes)
      for (const Motion& motion : motions)
      {
         const std::string title = std::string(scene.name) + ", " + motion.name;
         if (argc > 1 &&
             std::none_of(argv + 1, argv + argc,
                          [&](const char* text) { return title.find(text) != std::string::npos; }))
            continue;
         Measurement(scene, Walk(scene, motion)).print(title.c_str());
         std::fflush(stdout);
      }
   return 0;
}
