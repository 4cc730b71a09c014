#include "zqManipulator/foundation/xml/ZqXmlSchema.h"

#include "zqManipulator/foundation/log/ZqPrint.h"

#include <boost/core/demangle.hpp>

#include <fstream>
#include <map>
#include <vector>

namespace
{
/// What an element or attribute contains: a named type, or the definition of a simple one.
struct Content
{
   ZqString typeName;
   ZqString simple;
};

struct AttributeType
{
   ZqToken token;
   Content content;
   ZqString documentation;
};

struct Particle
{
   ZqToken token;
   Content content;
   ZqString documentation;
   unsigned least;
   unsigned most;
};

struct Type
{
   ZqString documentation;
   std::vector<AttributeType> attributes;
   std::vector<Particle> particles;
   bool isChoice = false;
   unsigned least = 1;
   unsigned most = 1;
};

ZqString occurs(unsigned least, unsigned most)
{
   ZqString text;
   if (least != 1)
      text += " minOccurs=\"" + std::to_string(least) + '"';
   if (most == ZqXmlSchema::unbounded)
      text += " maxOccurs=\"unbounded\"";
   else if (most != 1)
      text += " maxOccurs=\"" + std::to_string(most) + '"';
   return text;
}

ZqString textOf(const char* documentation)
{
   return documentation != nullptr ? documentation : "";
}

ZqString annotation(const ZqString& documentation)
{
   ZqString text;
   if (documentation.empty())
      return text;
   text += "\n    <xs:annotation><xs:documentation>";
   for (const char c : documentation)
      c == '&' ? text += "&amp;" : c == '<' ? text += "&lt;" : text += c;
   return text += "</xs:documentation></xs:annotation>";
}

ZqString simpleType(const ZqString& definition)
{
   ZqString text;
   if (!definition.empty())
      text.append("\n    <xs:simpleType>").append(definition).append("</xs:simpleType>");
   return text;
}
} // namespace

struct ZqXmlSchema::Model
{
   std::vector<std::pair<ZqToken, Content>> roots;
   std::map<ZqString, Type> types;
   /// The types that are being described, and what the object that describes itself now has said.
   std::vector<Type*> open;
   Content said;

   /// One file a namespace: its text, by URI. The main one is that of the roots.
   struct File
   {
      ZqString prefix;
      ZqString name;
      ZqString body;
      unsigned groups = 0;
   };
   using Files = std::map<ZqString, File>;

   ZqString element(const ZqString& name, const Content& content, const ZqString& documentation,
                    const ZqString& occurrence, const File& mainFile) const;
   static File& fileOf(const ZqString& uri, Files& files);
   static ZqString attribute(const AttributeType& attribute, const ZqString& mainUri, Files& files);
   ZqString particle(const Particle& particle, const ZqString& mainUri, Files& files) const;
   void emitTypes(const ZqString& mainUri, Files& files) const;
};

ZqString ZqXmlSchema::typeName(const std::type_info& type)
{
   ZqString name = boost::core::demangle(type.name());
   const auto isLetter = [](char c)
   { return c == '_' || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
   for (char& c : name)
      if (!isLetter(c) && c != '-' && (c < '0' || c > '9'))
         c = '.';
   return isLetter(name.front()) ? name : '_' + name;
}

ZqXmlSchema::ZqXmlSchema() : m_model(std::make_unique<Model>()) {}

ZqXmlSchema::~ZqXmlSchema() = default;

void ZqXmlSchema::addRoot(const ZqToken& token, const ZqXmlObject& object)
{
   m_model->said = {};
   object.writeSchema(*this);
   m_model->roots.emplace_back(token, m_model->said);
}

void ZqXmlSchema::addText(const char* schemaType)
{
   const ZqString type(schemaType);
   if (type == "doubles")
      addTextList("double");
   else
      m_model->said = {"", "<xs:restriction base=\"xs:" + type + "\"/>"};
}

void ZqXmlSchema::addTextList(const char* schemaType)
{
   m_model->said = {"", "<xs:list itemType=\"xs:" + ZqString(schemaType) + "\"/>"};
}

void ZqXmlSchema::addEnumeration(const ZqXmlEnumeration& enumeration)
{
   ZqString text = "<xs:restriction base=\"xs:token\">";
   for (const auto& [token, documentation] : enumeration)
      text += "\n     <xs:enumeration value=\"" + token->token() + "\">" +
              annotation(textOf(documentation)) + "</xs:enumeration>";
   m_model->said = {"", text + "</xs:restriction>"};
}

bool ZqXmlSchema::beginType(const std::type_info& type, const ZqString& variant,
                            const char* documentation)
{
   ZqString name = typeName(type);
   if (!variant.empty())
      name.append(".").append(variant);
   m_model->said = {name, ""};
   const auto [place, isNew] = m_model->types.try_emplace(name);
   if (isNew)
      m_model->open.push_back(&place->second);
   place->second.documentation = textOf(documentation);
   return isNew;
}

void ZqXmlSchema::endType()
{
   Type* ended = m_model->open.back();
   m_model->open.pop_back();
   for (const auto& [name, type] : m_model->types)
      if (&type == ended)
         m_model->said = {name, ""};
}

void ZqXmlSchema::addElement(const ZqToken& token, const ZqXmlObject& content, unsigned least,
                             unsigned most, const char* documentation)
{
   content.writeSchema(*this);
   m_model->open.back()->particles.push_back(
      {token, m_model->said, textOf(documentation), least, most});
}

void ZqXmlSchema::addTextElement(const ZqToken& token, const char* schemaType, unsigned least,
                                 unsigned most, const char* documentation)
{
   addText(schemaType);
   m_model->open.back()->particles.push_back(
      {token, m_model->said, textOf(documentation), least, most});
}

void ZqXmlSchema::addAttribute(const ZqToken& token, const ZqXmlObject& content,
                               const char* documentation)
{
   content.writeSchema(*this);
   m_model->open.back()->attributes.push_back({token, m_model->said, textOf(documentation)});
}

void ZqXmlSchema::addTextAttribute(const ZqToken& token, const char* schemaType,
                                   const char* documentation)
{
   addText(schemaType);
   m_model->open.back()->attributes.push_back({token, m_model->said, textOf(documentation)});
}

void ZqXmlSchema::setChoice(unsigned least, unsigned most)
{
   Type& type = *m_model->open.back();
   type.isChoice = true;
   type.least = least;
   type.most = most;
}

/// The declaration of an element.
ZqString ZqXmlSchema::Model::element(const ZqString& name, const Content& content,
                                     const ZqString& documentation, const ZqString& occurrence,
                                     const File& mainFile) const
{
   ZqString text = "<xs:element name=\"" + name + '"' + occurrence;
   if (!content.typeName.empty())
      text += " type=\"" + mainFile.prefix + content.typeName + '"';
   text += '>';
   const auto type = types.find(content.typeName);
   text += annotation(documentation.empty() && type != types.end() ? type->second.documentation
                                                                   : documentation);
   return text + simpleType(content.simple) + "\n   </xs:element>";
}

/// The file of a namespace; no prefix stands for names without one.
ZqXmlSchema::Model::File& ZqXmlSchema::Model::fileOf(const ZqString& uri, Files& files)
{
   const auto number = std::to_string(files.size());
   return files.try_emplace(uri, File{uri.empty() ? "" : "n" + number + ":", "-" + number, "", 0})
      .first->second;
}

/// An attribute of a type. One with a namespace of its own is declared in the file of that namespace.
ZqString ZqXmlSchema::Model::attribute(const AttributeType& attribute, const ZqString& mainUri,
                                       Files& files)
{
   const ZqString uri(attribute.token.namespaceUri());
   ZqString text = "<xs:attribute name=\"";
   text += attribute.token.localName();
   text += uri.empty() ? R"(">)" : R"(" form="qualified">)";
   text += annotation(attribute.documentation) + simpleType(attribute.content.simple) +
           "\n   </xs:attribute>";
   if (uri.empty() || uri == mainUri)
      return text;
   File& file = fileOf(uri, files);
   const ZqString group = "group" + std::to_string(++file.groups);
   file.body += " <xs:attributeGroup name=\"" + group + "\">" + text + "</xs:attributeGroup>\n";
   return "<xs:attributeGroup ref=\"" + file.prefix + group + "\"/>";
}

/// An element in the content of a type. One of another namespace than the main file's is declared
/// in a group of the file of its namespace, since a file declares elements of one namespace only.
ZqString ZqXmlSchema::Model::particle(const Particle& particle, const ZqString& mainUri,
                                      Files& files) const
{
   const ZqString uri(particle.token.namespaceUri());
   const ZqString name(particle.token.localName());
   const ZqString occurrence = occurs(particle.least, particle.most);
   const File& mainFile = files.at(mainUri);
   if (uri == mainUri)
      return element(name, particle.content, particle.documentation, occurrence, mainFile);
   File& file = fileOf(uri, files);
   const ZqString group = "group" + std::to_string(++file.groups);
   file.body += " <xs:group name=\"" + group + "\"><xs:sequence>" +
                element(name, particle.content, particle.documentation, "", mainFile) +
                "</xs:sequence></xs:group>\n";
   return "<xs:group ref=\"" + file.prefix + group + '"' + occurrence + "/>";
}

void ZqXmlSchema::Model::emitTypes(const ZqString& mainUri, Files& files) const
{
   for (const auto& [name, type] : types)
   {
      const ZqString model = type.isChoice ? "choice" : "sequence";
      ZqString text = " <xs:complexType name=\"" + name + "\">\n";
      if (!type.documentation.empty())
         text.append(annotation(type.documentation), 1).append("\n");
      text.append("  <xs:").append(model).append(occurs(type.least, type.most)).append(">\n");
      for (const Particle& one : type.particles)
         text.append("   ").append(particle(one, mainUri, files)).append("\n");
      text += "  </xs:" + model + ">\n";
      for (const AttributeType& one : type.attributes)
         text.append("  ").append(attribute(one, mainUri, files)).append("\n");
      files.at(mainUri).body += text + " </xs:complexType>\n";
   }
}

std::vector<std::pair<ZqString, ZqString>> ZqXmlSchema::files(const ZqString& fileName) const
{
   const Model& model = *m_model;
   const ZqString mainUri(model.roots.empty() ? ZqString()
                                              : ZqString(model.roots[0].first.namespaceUri()));
   Model::Files files;
   files.try_emplace(mainUri, Model::File{mainUri.empty() ? "" : "n0:", "", "", 0});
   for (const auto& [token, content] : model.roots)
   {
      const ZqString root =
         model.element(ZqString(token.localName()), content, "", "", files.at(mainUri));
      files.at(mainUri).body += ' ' + root + '\n';
   }
   model.emitTypes(mainUri, files);

   const auto dot = fileName.rfind('.');
   const auto slash = fileName.rfind('/');
   const bool hasDot = dot != ZqString::npos && (slash == ZqString::npos || dot > slash);
   const ZqString stem = hasDot ? fileName.substr(0, dot) : fileName;
   const ZqString suffix = hasDot ? fileName.substr(dot) : ZqString(".xsd");
   const auto pathOf = [&](const Model::File& file)
   { return file.name.empty() ? fileName : stem + file.name + suffix; };
   std::vector<std::pair<ZqString, ZqString>> result;
   for (const auto& [uri, file] : files)
   {
      ZqString text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                      "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\" "
                      "elementFormDefault=\"qualified\"";
      if (!uri.empty())
         text.append(" targetNamespace=\"").append(uri) += '"';
      for (const auto& [otherUri, other] : files)
         if (!otherUri.empty())
            text.append("\n   xmlns:")
               .append(other.prefix, 0, other.prefix.size() - 1)
               .append("=\"")
               .append(otherUri) += '"';
      text += ">\n";
      for (const auto& [otherUri, other] : files)
         if (&other != &file)
         {
            const ZqString path = pathOf(other);
            text.append(" <xs:import");
            if (!otherUri.empty())
               text.append(" namespace=\"").append(otherUri) += '"';
            text.append(" schemaLocation=\"").append(path, path.rfind('/') + 1).append("\"/>\n");
         }
      text.append(file.body).append("</xs:schema>\n");
      result.insert(uri == mainUri ? result.begin() : result.end(),
                    {pathOf(file), std::move(text)});
   }
   return result;
}

bool ZqXmlSchema::save(const ZqString& fileName) const
{
   bool written = true;
   for (const auto& [name, text] : files(fileName))
   {
      std::ofstream out(name, std::ios::binary);
      out << text << std::flush;
      if (!out)
      {
         Zq::Print::instance().write(Zq::Rejected,
                                     "ZqXmlSchema Error: the file cannot be written.\n\tFile: %s\n",
                                     name.c_str());
         written = false;
      }
   }
   return written;
}
