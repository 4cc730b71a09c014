#include "dynamicsLibrary.h"

#include <mujoco/mujoco.h>

#include <Eigen/Eigenvalues>
#include <cstring>
#include <sstream>
#include <stdexcept>

namespace zqBenchmark
{
namespace
{
/// The model as a URDF document: MJCF would nest bodies deeper than its reader goes.
class Document
{
public:
   explicit Document(const Model& model)
   {
      m_text.precision(17);
      m_text << "<robot name=\"model\">\n<link name=\"world\"/>\n";
      if (model.isFree)
         add(model.base, "base", "world", "floating");
      const std::string base = model.isFree ? "base" : "world";
      for (std::size_t i = 0; i < model.bodies.size(); ++i)
      {
         const int parent = model.bodies[i].parent;
         add(model.bodies[i], "body" + std::to_string(i),
             parent < 0 ? base : "body" + std::to_string(parent), "continuous");
      }
      m_text << "</robot>\n";
   }
   std::string text() const { return m_text.str(); }

private:
   /// With the inertia in its principal axes, which the reader would find with fewer digits.
   void add(const Body& body, const std::string& name, const std::string& parent,
            const char* jointType)
   {
      const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> principal(body.inertia);
      Eigen::Matrix3d axes = principal.eigenvectors();
      axes.col(2) = axes.col(0).cross(axes.col(1));
      const Eigen::Vector3d& moments = principal.eigenvalues();
      m_text << "<link name=\"" << name << "\"><inertial>";
      place(body.center, axes);
      m_text << "<mass value=\"" << body.mass << "\"/><inertia ixx=\"" << moments.x() << "\" iyy=\""
             << moments.y() << "\" izz=\"" << moments.z()
             << "\" ixy=\"0\" ixz=\"0\" iyz=\"0\"/></inertial></link>\n<joint name=\"to " << name
             << "\" type=\"" << jointType << "\"><parent link=\"" << parent << "\"/><child link=\""
             << name << "\"/><axis xyz=\"0 0 1\"/>";
      place(body.placement.translation(), body.placement.linear());
      m_text << "</joint>\n";
   }
   void place(const Eigen::Vector3d& p, const Eigen::Matrix3d& R)
   {
      const Eigen::Vector3d angles = R.eulerAngles(2, 1, 0).reverse();
      m_text << "<origin xyz=\"" << p.transpose() << "\" rpy=\"" << angles.transpose() << "\"/>";
   }

   std::ostringstream m_text;
};

mjModel* load(const Model& model)
{
   const std::string text = Document(model).text();
   const auto files = std::make_unique<mjVFS>();
   mj_defaultVFS(files.get());
   mj_makeEmptyFileVFS(files.get(), "model.urdf", static_cast<int>(text.size()));
   std::memcpy(files->filedata[0], text.data(), text.size());
   char error[1000] = "";
   mjModel* const result = mj_loadXML("model.urdf", files.get(), error, sizeof error);
   mj_deleteVFS(files.get());
   if (result == nullptr)
      throw std::runtime_error(error);
   mju_copy3(result->opt.gravity, model.gravity.data());
   result->opt.timestep = timeStep;
   result->opt.disableflags |=
      mjDSBL_CONSTRAINT | mjDSBL_CONTACT | mjDSBL_PASSIVE | mjDSBL_ACTUATION | mjDSBL_SENSOR;
   return result;
}

/// A free joint moves by the velocity of the origin in axes of the system and the angular velocity in
/// those of the body. Each operation calls the stages that it needs, and no others.
class Mujoco : public Library
{
public:
   Mujoco(const Model& model, const States& states)
      : Library("MuJoCo"), m_isFree(model.isFree), m_statesInCommon(states),
        m_bodies(model.bodies.size()), m_model(load(model)), m_data(mj_makeData(m_model.get())),
        m_forces(m_model->nv)
   {
      for (const State& state : states)
         m_states.push_back(convert(state));
   }

   bool offers(Operation operation) const override
   {
      return operation != Operation::ByArticulatedBodies;
   }

   void run(Operation operation, std::size_t index) override
   {
      const MujocoState& state = m_states[index];
      mju_copy(m_data->qpos, state.q.data(), m_model->nq);
      switch (operation)
      {
      case Operation::Frames:
         mj_kinematics(m_model.get(), m_data.get());
         break;
      case Operation::InverseDynamics:
         mju_copy(m_data->qvel, state.v.data(), m_model->nv);
         mju_copy(m_data->qacc, state.a.data(), m_model->nv);
         mj_kinematics(m_model.get(), m_data.get());
         mj_comPos(m_model.get(), m_data.get());
         mj_comVel(m_model.get(), m_data.get());
         mj_rne(m_model.get(), m_data.get(), 1, m_forces.data());
         break;
      case Operation::MassMatrix:
         mj_kinematics(m_model.get(), m_data.get());
         mj_comPos(m_model.get(), m_data.get());
         mj_crb(m_model.get(), m_data.get());
         break;
      case Operation::ByFactorisation:
         mju_copy(m_data->qvel, state.v.data(), m_model->nv);
         mj_kinematics(m_model.get(), m_data.get());
         mj_comPos(m_model.get(), m_data.get());
         mj_crb(m_model.get(), m_data.get());
         mj_factorM(m_model.get(), m_data.get());
         mj_comVel(m_model.get(), m_data.get());
         mj_rne(m_model.get(), m_data.get(), 0, m_forces.data());
         m_forces = -m_forces;
         mj_solveM(m_model.get(), m_data.get(), m_data->qacc, m_forces.data(), 1);
         break;
      case Operation::ByArticulatedBodies:
         break;
      case Operation::StepByFactorisation:
      case Operation::StepByArticulatedBodies:
         mju_copy(m_data->qvel, state.v.data(), m_model->nv);
         mj_step(m_model.get(), m_data.get());
         break;
      }
   }

   Eigen::VectorXd result(Operation operation, std::size_t index) override
   {
      const State& state = m_statesInCommon[index];
      Eigen::VectorXd list;
      switch (operation)
      {
      case Operation::Frames:
         for (std::size_t i = 0; i < m_bodies; ++i)
            append(list, frame(i + (m_isFree ? 2 : 1)));
         break;
      case Operation::InverseDynamics:
         return toBody(state).transpose() * m_forces;
      case Operation::MassMatrix:
      {
         Eigen::MatrixXd M(m_model->nv, m_model->nv);
         mj_fullM(m_model.get(), M.data(), m_data->qM);
         return (toBody(state).transpose() * M * toBody(state)).reshaped();
      }
      case Operation::ByFactorisation:
      case Operation::ByArticulatedBodies:
         return toBody(state).transpose() *
                Eigen::Map<const Eigen::VectorXd>(m_data->qacc, m_model->nv);
      case Operation::StepByFactorisation:
      case Operation::StepByArticulatedBodies:
         append(list, toBody(state).transpose() *
                         (Eigen::Map<const Eigen::VectorXd>(m_data->qvel, m_model->nv) -
                          m_states[index].v) /
                         timeStep);
         if (m_isFree)
         {
            const double* const q = m_data->qpos;
            Eigen::Isometry3d base =
               Eigen::Translation3d(q[0], q[1], q[2]) * Eigen::Quaterniond(q[3], q[4], q[5], q[6]);
            append(list, baseRate(state.base, base));
         }
         append(list,
                (Eigen::Map<const Eigen::VectorXd>(m_data->qpos, m_model->nq) - m_states[index].q)
                      .tail(state.q.size()) /
                   timeStep);
         break;
      }
      return list;
   }

private:
   struct MujocoState
   {
      Eigen::VectorXd q, v, a;
   };

   MujocoState convert(const State& state) const
   {
      if (!m_isFree)
         return {state.q, state.v, state.a};
      MujocoState result;
      const Eigen::Quaterniond q(state.base.linear());
      append(result.q, state.base.translation());
      append(result.q, Eigen::Vector4d(q.w(), q.x(), q.y(), q.z()));
      append(result.q, state.q);
      Eigen::VectorXd v(state.baseVelocity);
      append(v, state.v);
      result.v = toBody(state) * v;
      Eigen::VectorXd a(state.baseAcceleration);
      append(a, state.a);
      result.a = toBody(state) * a;
      return result;
   }
   /// Takes motions of the base from axes of the system.
   Eigen::MatrixXd toBody(const State& state) const
   {
      Eigen::MatrixXd B = Eigen::MatrixXd::Identity(m_model->nv, m_model->nv);
      if (m_isFree)
         B.block<3, 3>(3, 3) = state.base.linear().transpose();
      return B;
   }
   Eigen::Isometry3d frame(std::size_t body) const
   {
      Eigen::Isometry3d X = Eigen::Isometry3d::Identity();
      X.linear() =
         Eigen::Map<const Eigen::Matrix<double, 3, 3, Eigen::RowMajor>>(m_data->xmat + 9 * body);
      X.translation() = Eigen::Map<const Eigen::Vector3d>(m_data->xpos + 3 * body);
      return X;
   }

   struct Delete
   {
      void operator()(mjModel* model) const { mj_deleteModel(model); }
      void operator()(mjData* data) const { mj_deleteData(data); }
   };

   bool m_isFree;
   States m_statesInCommon;
   std::size_t m_bodies;
   std::unique_ptr<mjModel, Delete> m_model;
   std::unique_ptr<mjData, Delete> m_data;
   std::vector<MujocoState> m_states;
   Eigen::VectorXd m_forces;
};
} // namespace

std::unique_ptr<Library> mujoco(const Model& model, const States& states)
{
   return std::make_unique<Mujoco>(model, states);
}
} // namespace zqBenchmark
