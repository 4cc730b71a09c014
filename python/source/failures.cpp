#include "python/source/failures.h"

namespace
{
using namespace zqPython;

// Neither is ever destroyed: what is left when the interpreter ends cannot be.
PyObject* errorClass = nullptr;
PyObject* warningClass = nullptr;

PyObject* newClass(py::module_& module, const char* name, const char* documentation, PyObject* base)
{
   const std::string path = std::string("zqmanipulator.") + name;
   PyObject* result = PyErr_NewExceptionWithDoc(path.c_str(), documentation, base, nullptr);
   if (result == nullptr)
      throw py::error_already_set();
   module.add_object(name, py::reinterpret_borrow<py::object>(result));
   return result;
}
} // namespace

void zqPython::fail(const std::string& doing, const std::vector<Zq::Diagnostic>& diagnostics)
{
   std::string text;
   for (const Zq::Diagnostic& diagnostic : diagnostics)
      if (diagnostic.severity == Zq::Severity::Error)
         text.append(text.empty() ? "" : "\n").append(toString(diagnostic));
   if (text.empty() && !diagnostics.empty())
      text = toString(diagnostics.back());
   const py::object error =
      py::reinterpret_borrow<py::object>(errorClass)(text.empty() ? doing + " failed" : text);
   error.attr("diagnostics") = py::cast(diagnostics);
   PyErr_SetObject(errorClass, error.ptr());
   throw py::error_already_set();
}

void zqPython::warn(const std::vector<Zq::Diagnostic>& diagnostics)
{
   for (const Zq::Diagnostic& diagnostic : diagnostics)
      if (diagnostic.severity != Zq::Severity::Note &&
          PyErr_WarnEx(warningClass, toString(diagnostic).c_str(), 1) != 0)
         throw py::error_already_set();
}

void zqPython::bindFailures(py::module_& module)
{
   errorClass =
      newClass(module, "Error",
               "Something could not be done. `diagnostics` tells what was wrong, and where.",
               PyExc_RuntimeError);
   warningClass =
      newClass(module, "Warning", "Something is odd, or was repaired.", PyExc_UserWarning);

   py::enum_<Zq::Severity>(module, "Severity", "What a diagnostic says of what it tells.")
      .value("ERROR", Zq::Severity::Error)
      .value("WARNING", Zq::Severity::Warning)
      .value("NOTE", Zq::Severity::Note);
   py::class_<Zq::Diagnostic>(module, "Diagnostic",
                              "Something that is told of a document, a model or a call.")
      .def_readonly("severity", &Zq::Diagnostic::severity)
      .def_readonly("code", &Zq::Diagnostic::code, "The kind, in words joined by hyphens.")
      .def_readonly("file", &Zq::Diagnostic::file)
      .def_readonly("line", &Zq::Diagnostic::line, "From 1, or 0.")
      .def_readonly("path", &Zq::Diagnostic::path,
                    "The elements that lead there, apart by slashes.")
      .def_readonly("text", &Zq::Diagnostic::text)
      .def("__str__", [](const Zq::Diagnostic& diagnostic) { return toString(diagnostic); })
      .def("__repr__",
           [](const Zq::Diagnostic& diagnostic) {
              return "<" + std::string(nameOf(diagnostic.severity)) + ": " + toString(diagnostic) +
                     ">";
           });
}
