#include "contactLibrary.h"

#include <dart/collision/dart/DARTCollisionDetector.hpp>
#include <dart/constraint/ConstraintSolver.hpp>
#include <dart/dynamics/BodyNode.hpp>
#include <dart/dynamics/BoxShape.hpp>
#include <dart/dynamics/FreeJoint.hpp>
#include <dart/dynamics/PrismaticJoint.hpp>
#include <dart/dynamics/Skeleton.hpp>
#include <dart/dynamics/SphereShape.hpp>
#include <dart/dynamics/WeldJoint.hpp>
#include <dart/simulation/World.hpp>

namespace zqBenchmark
{
namespace
{
namespace dynamics = ::dart::dynamics;

/// With its own detector of collisions, which finds four points below a box; the plane is a large box there.
class Dart : public ContactLibrary
{
public:
   explicit Dart(const ContactScene& scene)
      : m_scene(scene), m_world(::dart::simulation::World::create())
   {
      m_world->setGravity(scene.gravity);
      m_world->setTimeStep(scene.timeStep);
      m_world->getConstraintSolver()->setCollisionDetector(
         ::dart::collision::DARTCollisionDetector::create());
      m_world->getConstraintSolver()->getCollisionOption().maxNumContacts = 100000;
      for (const ContactBody& body : scene.bodies)
         add(body);
      if (scene.hasPlane)
         addPlane();
   }
   void step() override
   {
      for (std::size_t i = 0; i < m_bodies.size(); ++i)
         if (m_scene.bodies[i].isOnRail)
            m_bodies[i]->getParentJoint()->setForce(0, m_scene.bodies[i].push);
      m_world->step();
   }
   int points() override
   {
      return static_cast<int>(m_world->getLastCollisionResult().getNumContacts());
   }
   Eigen::Vector3d position(std::size_t body) override
   {
      return m_bodies[body]->getWorldTransform().translation();
   }
   Eigen::Vector3d velocity(std::size_t body) override
   {
      return m_bodies[body]->getLinearVelocity();
   }

private:
   void give(dynamics::BodyNode* node, const std::shared_ptr<dynamics::Shape>& shape)
   {
      auto* const holder =
         node->createShapeNodeWith<dynamics::CollisionAspect, dynamics::DynamicsAspect>(shape);
      holder->getDynamicsAspect()->setFrictionCoeff(m_scene.friction);
      holder->getDynamicsAspect()->setRestitutionCoeff(0.0);
   }
   void add(const ContactBody& body)
   {
      const dynamics::SkeletonPtr skeleton =
         dynamics::Skeleton::create("body " + std::to_string(m_bodies.size()));
      const dynamics::BodyNode::Properties properties(dynamics::BodyNode::AspectProperties(
         "body", dynamics::Inertia(body.mass, Eigen::Vector3d::Zero(),
                                   Eigen::Matrix3d(body.moments().asDiagonal()))));
      dynamics::BodyNode* node = nullptr;
      if (body.isOnRail)
      {
         dynamics::PrismaticJoint::Properties joint;
         joint.mAxis = Eigen::Vector3d::UnitX();
         joint.mT_ParentBodyToJoint = body.placement;
         node =
            skeleton
               ->createJointAndBodyNodePair<dynamics::PrismaticJoint>(nullptr, joint, properties)
               .second;
      }
      else
      {
         auto [joint, free] = skeleton->createJointAndBodyNodePair<dynamics::FreeJoint>(
            nullptr, dynamics::FreeJoint::Properties(), properties);
         joint->setTransform(body.placement);
         joint->setLinearVelocity(body.velocity);
         joint->setAngularVelocity(body.angularVelocity);
         node = free;
      }
      if (body.kind == ContactBody::Kind::Sphere)
         give(node, std::make_shared<dynamics::SphereShape>(body.radius));
      else
         give(node, std::make_shared<dynamics::BoxShape>(2.0 * body.halfExtents));
      m_bodies.push_back(node);
      m_world->addSkeleton(skeleton);
   }
   void addPlane()
   {
      const dynamics::SkeletonPtr skeleton = dynamics::Skeleton::create("plane");
      auto [joint, node] = skeleton->createJointAndBodyNodePair<dynamics::WeldJoint>();
      Eigen::Isometry3d below = Eigen::Isometry3d::Identity();
      below.translation().z() = -0.5;
      joint->setTransformFromParentBodyNode(below);
      give(node, std::make_shared<dynamics::BoxShape>(Eigen::Vector3d(200.0, 200.0, 1.0)));
      skeleton->setMobile(false);
      m_world->addSkeleton(skeleton);
   }

   ContactScene m_scene;
   std::vector<dynamics::BodyNode*> m_bodies;
   ::dart::simulation::WorldPtr m_world;
};
} // namespace

std::unique_ptr<ContactLibrary> contactDart(const ContactScene& scene)
{
   return std::make_unique<Dart>(scene);
}
} // namespace zqBenchmark
