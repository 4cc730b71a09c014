#include "contactLibrary.h"

#include <mujoco/mujoco.h>

#include <cstring>
#include <sstream>
#include <stdexcept>

namespace zqBenchmark
{
namespace
{
std::string documentOf(const ContactScene& scene)
{
   std::ostringstream text;
   text.precision(17);
   const std::size_t bodies = scene.bodies.size();
   const std::size_t points = (scene.hasStacks ? 16 : 4) * bodies + 100;
   const std::size_t stack = 2000000 + 100 * bodies * bodies;
   text << "<mujoco><size nconmax=\"" << points << "\" njmax=\"" << 4 * points << "\" nstack=\""
        << stack << "\"/>\n<option timestep=\"" << scene.timeStep << "\" gravity=\""
        << scene.gravity.transpose() << "\"/>\n<default><geom friction=\"" << scene.friction
        << " 0.005 0.0001\"/></default>\n<worldbody>\n";
   if (scene.hasPlane)
      text << "<geom type=\"plane\" size=\"100 100 1\"/>\n";
   for (const ContactBody& body : scene.bodies)
   {
      const Eigen::Quaterniond turn(body.placement.linear());
      text << "<body pos=\"" << body.placement.translation().transpose() << "\" quat=\"" << turn.w()
           << " " << turn.vec().transpose() << "\">"
           << (body.isOnRail ? "<joint type=\"slide\" axis=\"1 0 0\"/>" : "<freejoint/>")
           << "<geom mass=\"" << body.mass << "\" type=\"";
      if (body.kind == ContactBody::Kind::Sphere)
         text << "sphere\" size=\"" << body.radius;
      else
         text << "box\" size=\"" << body.halfExtents.transpose();
      text << "\"/></body>\n";
   }
   text << "</worldbody></mujoco>\n";
   return text.str();
}

mjModel* load(const ContactScene& scene)
{
   const std::string text = documentOf(scene);
   const auto files = std::make_unique<mjVFS>();
   mj_defaultVFS(files.get());
   mj_makeEmptyFileVFS(files.get(), "scene.xml", static_cast<int>(text.size()));
   std::memcpy(files->filedata[0], text.data(), text.size());
   char error[1000] = "";
   mjModel* const result = mj_loadXML("scene.xml", files.get(), error, sizeof error);
   mj_deleteVFS(files.get());
   if (result == nullptr)
      throw std::runtime_error(error);
   return result;
}

/// As it comes, but for the step.
class Mujoco : public ContactLibrary
{
public:
   explicit Mujoco(const ContactScene& scene)
      : m_scene(scene), m_model(load(scene)), m_data(mj_makeData(m_model.get()))
   {
      for (std::size_t i = 0; i < scene.bodies.size(); ++i)
      {
         const ContactBody& body = scene.bodies[i];
         double* const v = m_data->qvel + dof(i);
         if (body.isOnRail)
         {
            m_data->qfrc_applied[dof(i)] = body.push;
            continue;
         }
         const Eigen::Vector3d spin = body.placement.linear().transpose() * body.angularVelocity;
         mju_copy3(v, body.velocity.data());
         mju_copy3(v + 3, spin.data());
      }
   }
   void step() override { mj_step(m_model.get(), m_data.get()); }
   int points() override { return m_data->ncon; }
   // Frames are those of the beginning of the last step.
   Eigen::Vector3d position(std::size_t body) override
   {
      mj_kinematics(m_model.get(), m_data.get());
      return Eigen::Map<const Eigen::Vector3d>(m_data->xpos + 3 * (body + 1));
   }
   Eigen::Vector3d velocity(std::size_t body) override
   {
      const double* const v = m_data->qvel + dof(body);
      if (m_scene.bodies[body].isOnRail)
         return {v[0], 0.0, 0.0};
      return {v[0], v[1], v[2]};
   }

private:
   int dof(std::size_t body) const { return m_model->body_dofadr[body + 1]; }

   struct Delete
   {
      void operator()(mjModel* model) const { mj_deleteModel(model); }
      void operator()(mjData* data) const { mj_deleteData(data); }
   };

   ContactScene m_scene;
   std::unique_ptr<mjModel, Delete> m_model;
   std::unique_ptr<mjData, Delete> m_data;
};
} // namespace

std::unique_ptr<ContactLibrary> contactMujoco(const ContactScene& scene)
{
   // Beyond some hundred bodies its memory for constraints, which is not sparse, is larger than it can have.
   return scene.bodies.size() > 500 ? nullptr : std::make_unique<Mujoco>(scene);
}
} // namespace zqBenchmark
