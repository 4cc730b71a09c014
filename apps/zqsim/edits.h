#pragma once

#include "apps/zqsim/commands.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/output.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <memory>
#include <string>
#include <utility>

/// What the commands have in common that read a model, change it and write it.
namespace zqsim
{
/// Where a change is written, and how it is told.
struct EditArguments
{
   /// Also the model, if the command has one.
   void declare(CLI::App& arguments, bool hasModel = true);

   std::string model;
   std::string out;
   bool json = false;
   bool brief = false;
};

/// What an edit did, as rows of what changed, of which part, from what and to what.
class Changes
{
public:
   void add(const char* what, const std::string& of, const Json& from, const Json& to)
   {
      m_rows.push_back({{"what", what}, {"of", of}, {"from", from}, {"to", to}});
   }
   const Json& rows() const { return m_rows; }

private:
   Json m_rows = Json::array();
};

using Edit = std::function<void(ZqStatedSystem&, Changes&)>;

/// Reads the model, edits it, writes it, and tells what changed, together with the base frames that moved. What
/// fails is a `Failure`, and nothing is written.
ExitCode runEdit(const EditArguments& arguments, const Edit& edit);
/// Writes a scene so that who reads it can take apart again what was combined, where it still is what its parts make.
void writeScene(ZqStatedSystem& scene, const std::string& fileName, bool writeDefaults);
/// Runs an operation of the library that answers whether it did something. If it did not, its message is a `Failure`;
/// else its messages are warnings.
void require(const std::function<bool()>& operation);

/// Another model that comes into the scene.
struct Arrival
{
   ZqStatedSystem model;
   ZqU32 manipulator = 0; ///< which of its manipulators is meant

   /// Of the model in a file, with a manipulator by its label, or the only one.
   Arrival(const std::string& fileName, const std::string& label, bool isAlone);
   /// Brings it in, and answers where in the scene the manipulator is.
   ZqU32 joinTo(ZqStatedSystem& scene, Changes& changes) const;
};

/// \name Parts of a model, by what stands on the command line
/// What there is not is a `Failure`, which names the option.
/// @{
struct LinkPlace
{
   ZqU32 manipulator = 0;
   std::string link;
};
/// By the label of the link, or "MANIPULATOR/LINK" where more than one manipulator has a link of the label.
LinkPlace findLink(const ZqStatedSystem& scene, const char* option, const std::string& name);
ZqU32 findManipulator(const ZqStatedSystem& scene, const char* option, const std::string& label);
/// Without a label, the only manipulator that there is.
ZqU32 findManipulatorOrOnly(const ZqStatedSystem& scene, const char* option,
                            const std::string& label);
/// The two sides of "OLD=NEW", neither of them empty.
std::pair<std::string, std::string> splitAtSign(const char* option, const std::string& argument,
                                                const char* form);
/// "x y z" in m, or that and "roll pitch yaw" in rad: turns about the axes x, y and z that stay, in this order.
ZqCoordinateSystemTransformation parseFrame(const char* option, const std::string& text);
/// @}

inline const std::string& labelOf(const ZqStatedSystem& scene, ZqU32 index)
{
   return scene.manipulatorByIndex(index)->manipulatorLabel();
}
/// "MANIPULATOR/LINK" of what carries a manipulator; null when nothing does.
Json carrierOf(const ZqStatedSystem& scene, ZqU32 index);
} // namespace zqsim
