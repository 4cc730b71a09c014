#include "apps/zqsim/commands.h"
#include "apps/zqsim/edits.h"
#include "apps/zqsim/inputs.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/numbers.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/outputFile.h"
#include "zqManipulator/foundation/xml/ZqSha256.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/tools/sampling/ZqModelVariation.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <array>
#include <filesystem>
#include <limits>
#include <memory>
#include <sstream>
#include <string>

namespace
{
using namespace zqsim;

/// The records of a study for all manipulators and links that it does not list.
struct Defaults
{
   explicit Defaults(const ZqVariationStudy& study)
      : link(study.systemRandomVariation().defaultLinkPropertyRandomVariation()),
        joint(link.linkKinematicsRandomVariation()), mass(link.massPropertyRandomVariation()),
        drive(link.jointActuatorRandomVariation()),
        position(study.stateRandomVariation().defaultPositionStateRandomVariation()),
        velocity(study.stateRandomVariation().defaultVelocityStateRandomVariation())
   {
   }
   void putInto(ZqVariationStudy& study)
   {
      link.setLinkKinematicsRandomVariation(joint);
      link.setMassPropertyRandomVariation(mass);
      link.setJointActuatorRandomVariation(drive);
      if (!surface.isExact())
      {
         auto surfaces = link.surfacePropertyRandomVariationVector();
         surfaces.pushBack(surface);
         link.setSurfacePropertyRandomVariationVector(surfaces);
      }
      ZqSystemRandomVariation system = study.systemRandomVariation();
      system.setDefaultLinkPropertyRandomVariation(link);
      study.setSystemRandomVariation(system);
      ZqStateRandomVariation state = study.stateRandomVariation();
      state.setDefaultPositionStateRandomVariation(position);
      state.setDefaultVelocityStateRandomVariation(velocity);
      study.setStateRandomVariation(state);
   }

   ZqLinkPropertyRandomVariation link;
   ZqLinkKinematicsRandomVariation joint;
   ZqMassPropertyRandomVariation mass;
   ZqJointActuatorRandomVariation drive;
   ZqSurfacePropertyRandomVariation surface; ///< of any material
   ZqPositionStateRandomVariation position;
   ZqVelocityStateRandomVariation velocity;
};

/// An option that sets a deviation.
struct Deviation
{
   const char* option;
   const char* description;
   void (*set)(Defaults&, ZqReal);
};
constexpr std::array deviations{
   Deviation{"--sigma-mass", "Mass of each link (kg); its center moves with it",
             [](Defaults& to, ZqReal sigma) { to.mass.setMassRandomVariation(sigma); }},
   Deviation{"--sigma-translation", "Place of each joint on its parent (m)",
             [](Defaults& to, ZqReal sigma) { to.joint.setTranslationRandomVariation(sigma); }},
   Deviation{"--sigma-angle", "Direction of each joint on its parent (rad)",
             [](Defaults& to, ZqReal sigma) { to.joint.setAngleRandomVariation(sigma); }},
   Deviation{"--sigma-torque", "Greatest and least torque of each motor (N m, N)",
             [](Defaults& to, ZqReal sigma) { to.drive.setTorqueRandomVariation(sigma); }},
   Deviation{"--sigma-limit", "Limits of each joint (rad, m)",
             [](Defaults& to, ZqReal sigma) { to.drive.setPositionRandomVariation(sigma); }},
   Deviation{"--sigma-rate", "Greatest rate of each joint (rad/s, m/s)",
             [](Defaults& to, ZqReal sigma) { to.drive.setVelocityRandomVariation(sigma); }},
   Deviation{"--sigma-spring", "Spring constant of surfaces, of any material",
             [](Defaults& to, ZqReal sigma)
             { to.surface.setTensionSpringConstantRandomVariation(sigma); }},
   Deviation{"--sigma-damper", "Damper constant of surfaces, of any material",
             [](Defaults& to, ZqReal sigma)
             { to.surface.setTensionDamperConstantRandomVariation(sigma); }},
   Deviation{"--sigma-joint", "Position of each joint (rad, m)",
             [](Defaults& to, ZqReal sigma)
             { to.position.setDefaultJointPositionOneSigma(sigma); }},
   Deviation{"--sigma-base", "Place of each base that is attached to no link (m)",
             [](Defaults& to, ZqReal sigma) { to.position.setBasePositionOneSigma(sigma); }},
   Deviation{"--sigma-base-angle", "Orientation of each such base (rad)",
             [](Defaults& to, ZqReal sigma) { to.position.setBaseAngleOneSigma(sigma); }},
   Deviation{"--sigma-joint-velocity", "Velocity of each joint (rad/s, m/s)",
             [](Defaults& to, ZqReal sigma)
             { to.velocity.setDefaultJointVelocityOneSigma(sigma); }},
   Deviation{"--sigma-base-velocity", "Velocity of each free base (m/s)",
             [](Defaults& to, ZqReal sigma) { to.velocity.setBaseLinearVelocityOneSigma(sigma); }},
   Deviation{"--sigma-base-angular-velocity", "Angular velocity of each free base (rad/s)",
             [](Defaults& to, ZqReal sigma)
             { to.velocity.setBaseAngularVelocityOneSigma(sigma); }}};

struct VaryOptions : ModelArguments
{
   std::string study;
   std::array<std::string, deviations.size()> sigmas;
   ZqU32 seed = 0;
   ZqU32 count = 1;
   ZqU32 first = 0;
   std::string out;
   bool brief = false;
};

constexpr std::string_view sampleMark = "%k";

std::string fileOf(const std::string& pattern, ZqU32 sample)
{
   std::string name = pattern;
   const std::string number = std::to_string(sample);
   for (std::size_t place = name.find(sampleMark); place != std::string::npos;
        place = name.find(sampleMark, place + number.size()))
      name.replace(place, sampleMark.size(), number);
   return name;
}

ZqVariationStudy studyOf(const VaryOptions& options)
{
   ZqVariationStudy study;
   if (!options.study.empty())
      warnOf(readDocument(options.study, study));
   Defaults defaults(study);
   bool isAny = !options.study.empty();
   for (std::size_t i = 0; i < deviations.size(); ++i)
   {
      if (options.sigmas[i].empty())
         continue;
      const ZqReal sigma = parseNumber(deviations[i].option, options.sigmas[i]);
      if (!(sigma >= 0.0))
         throw Failure(Usage, std::string(deviations[i].option) +
                                 ": expected a number that is not negative, but received " +
                                 options.sigmas[i]);
      deviations[i].set(defaults, sigma);
      isAny = true;
   }
   if (!isAny)
      throw Failure(Usage, "nothing is to be varied: expected --study or one of --sigma-...");
   defaults.putInto(study);
   return study;
}

/// Reads the model, and answers what its varied scenes come from.
ZqVariationOrigin readSource(const VaryOptions& options, ZqStatedSystem& scene)
{
   const std::string name = isStandardStream(options.model)
                               ? "standard input"
                               : std::filesystem::path(options.model).filename().string();
   const std::string text = textOfFile(options.model);
   bool isRead = false;
   const Diagnostics diagnostics = diagnosticsOf(
      [&]
      {
         std::istringstream stream(text);
         ZqXmlReader reader(stream, isStandardStream(options.model) ? name : options.model);
         isRead = Zq::read(scene, reader);
      });
   if (!isRead)
      throw Failure(InvalidInput, reason(options.model, diagnostics));
   warnOf(diagnostics);
   ZqVariationOrigin origin(studyOf(options), options.seed, options.first);
   origin.setSource(name, Zq::sha256(text));
   return origin;
}

/// Makes one sample, and tells of it.
Json vary(const VaryOptions& options, const ZqStatedSystem& scene, const ZqVariationOrigin& origin)
{
   ZqStatedSystem varied;
   bool isVaried = false;
   const Diagnostics diagnostics =
      diagnosticsOf([&] { isVaried = Zq::varyModel(scene, origin, varied); });
   if (!isVaried)
      throw Failure(InvalidInput,
                    reason(options.study.empty() ? options.model : options.study, diagnostics));
   warnOf(diagnostics);
   const std::string file = fileOf(options.out, origin.sample());
   writeScene(varied, file, !options.brief);
   Json warnings = Json::array();
   for (const Zq::Diagnostic& diagnostic : diagnostics)
      warnings.push_back(lineOf(diagnostic));
   return {{"sample", origin.sample()}, {"file", file}, {"warnings", warnings}};
}

void requireNames(const VaryOptions& options)
{
   if (options.count == 0)
      throw Failure(Usage, "--count: expected at least 1");
   if (options.count - 1 > std::numeric_limits<ZqU32>::max() - options.first)
      throw Failure(Usage, "--first and --count: samples have numbers up to 4294967295");
   if (options.count > 1 && options.out.find(sampleMark) == std::string::npos)
      throw Failure(Usage, "--out: several samples need a name with %k, where their number goes, "
                           "but received \"" +
                              options.out + '"');
   if (options.json && isStandardStream(options.out))
      throw Failure(Usage, "--json and --out - both go to standard output");
}
} // namespace

zqsim::Run zqsim::vary(CLI::App& arguments)
{
   const auto options = std::make_shared<VaryOptions>();
   options->declare(arguments);
   arguments
      .add_option("-o,--out", options->out,
                  "Where to write the varied models; %k stands for the number of the sample")
      ->required()
      ->type_name("FILE");
   arguments.add_option("--seed", options->seed, "Seed of the study")->capture_default_str();
   arguments.add_option("--count", options->count, "How many samples to make")
      ->capture_default_str();
   arguments
      .add_option("--first", options->first,
                  "Number of the first one; sample K of a seed is the same in whatever run it is "
                  "made")
      ->capture_default_str();
   arguments
      .add_option("--study", options->study,
                  "A document that tells the deviations, by manipulator and link; those below are "
                  "then for what it does not list")
      ->type_name("FILE");
   arguments.add_flag("--brief", options->brief, "Leave out what equals its default");
   for (std::size_t i = 0; i < deviations.size(); ++i)
      arguments.add_option(deviations[i].option, options->sigmas[i], deviations[i].description)
         ->type_name("SIGMA")
         ->group("Standard deviations");
   arguments.footer("Each model tells in its variationOrigin what it comes from: name and SHA-256 "
                    "of MODEL, seed,\nnumber and deviations.\n"
                    "Example: zqsim vary arm.xml --seed 7 --count 100 --sigma-mass 0.1 "
                    "-o arm-%k.xml");
   return [options]
   {
      requireNames(*options);
      ZqStatedSystem scene;
      ZqVariationOrigin origin = readSource(*options, scene);
      Json samples = Json::array();
      for (ZqU32 i = 0; i < options->count; ++i)
      {
         origin.setSample(options->first + i);
         samples.push_back(::vary(*options, scene, origin));
      }
      if (options->json)
         print(Json{{"source", origin.source()},
                    {"sourceHash", origin.sourceHash()},
                    {"seed", origin.seed()},
                    {"samples", samples}});
      return Done;
   };
}
