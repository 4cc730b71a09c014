#pragma once

#include "zqManipulator/simulation/step/ZqSimulation.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace zqReplay
{
using Json = nlohmann::ordered_json;

/// What a simulation goes through, for a page that shows it: where bodies are, joints, contacts and energies.
///
/// Frames are about equally far apart in time. When their numbers take more than the budget, every second one
/// goes, and of what comes so many fewer are taken. A frame that is not finite is left out.
class Recording
{
public:
   struct Settings
   {
      std::string title = {};
      ZqReal frameRate = 60.0; ///< of simulated time (1/s); there is no more than one a step
      std::size_t budget = 12'000'000; ///< of the numbers of all frames (bytes)
   };

   /// Looks at the bodies and their shapes, and takes no frame.
   Recording(ZqSimulation& simulation, const Settings& settings);

   /// Takes a frame if it is time for one, at the price of an evaluation of the present.
   void sample(ZqSimulation& simulation);
   /// The same, whether or not it is time; but none twice.
   void sampleLast(ZqSimulation& simulation);
   std::size_t frameCount() const noexcept { return m_times.size(); }

   /// As a JSON text for `makePage`, without line breaks. It holds no character that ends an element of HTML, and
   /// bytes that are no UTF-8 are replaced.
   ///
   /// Lengths in m, angles in rad, quaternions as w, x, y, z, everything in axes of the system. Arrays of numbers
   /// are their bytes, the lowest first, in base 64; n frames, m bodies that move:
   ///
   /// | member    | holds                                                                                 |
   /// |-----------|---------------------------------------------------------------------------------------|
   /// | format    | 1; grows when a member goes or changes its meaning                                    |
   /// | title, up | of the scene; unit, against gravity                                                   |
   /// | bodies    | bases and links by manipulator: name, manipulator, parent (the body that its joint     |
   /// |           | hangs on, or null), shapes in the primary frame, and pose (x y z w x y z) of a base   |
   /// |           | that never moves                                                                      |
   /// | joints    | body, name, unit, lower and upper limit or null                                       |
   /// | times     | n of double precision, increasing (s)                                                 |
   /// | poses     | n x m x 7 of double precision: primary frames                                         |
   /// | values    | n x joints of single precision                                                        |
   /// | contacts  | starts, n + 1 of 32 bits: the rows of a frame; rows x 8 of single precision: a point, |
   /// |           | the force there on the second body (N), the indices of both bodies                    |
   /// | energies  | names of those that are not zero throughout; rows, n x names of single precision (J)    |
   std::string json() const;

private:
   struct Body
   {
      ZqSimulation::Place place;
      bool isStill;
   };

   void listBodies(ZqSimulation& simulation);
   std::size_t indexOf(const ZqSimulation::Place& place) const;
   void take(ZqSimulation& simulation);
   std::vector<ZqReal> posesOf(ZqSimulation& simulation) const;
   std::vector<ZqReal> jointPositionsOf(const ZqSimulation& simulation) const;
   void takeContact(ZqSimulation& simulation, const ZqSimulation::Contact& contact);
   Json energies() const;
   std::size_t size() const noexcept;
   void thin();

   Settings m_settings;
   std::string m_head; ///< the members that do not depend on frames
   std::vector<Body> m_bodies;
   std::vector<std::size_t> m_firstBody; ///< by manipulator
   std::size_t m_poseCount = 0;
   std::size_t m_jointCount = 0;
   ZqReal m_period; ///< between frames (s)
   ZqReal m_due = 0.0;

   // By frame
   std::vector<ZqReal> m_times;
   std::vector<ZqReal> m_poses;
   std::vector<float> m_values;
   std::vector<float> m_energies;
   std::vector<float> m_remainders; ///< of the books, where they are kept
   std::vector<std::uint32_t> m_contactStarts{0};
   std::vector<float> m_contacts;
};
} // namespace zqReplay
