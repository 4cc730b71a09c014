#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"

/// Says whether a link uses the shapes of another link of its manipulator, and of which: an arm of
/// identical links is stored once.
class ZqLinkReferenceDescription : public ZqXmlClass<ZqLinkReferenceDescription>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqLinkReferenceDescriptionToken; }
   static constexpr const char* documentation = "whose shapes a link uses";
   template <class This = ZqLinkReferenceDescription>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_isShapeReferenced, &ZqManip::ZqIsShapeReferencedToken,
                                    "whether the link uses the shapes of another one"},
                        ZqComponent{&This::m_referencedLinkLabel,
                                    &ZqManip::ZqReferencedLinkLabelToken, "label of that link"}};
   }
   bool operator==(const ZqLinkReferenceDescription&) const = default;

   virtual bool isShapeReferenced() const { return m_isShapeReferenced; }
   virtual void setIsShapeReferenced(bool referenced) { m_isShapeReferenced = referenced; }
   virtual const ZqString& referencedLinkLabel() const { return m_referencedLinkLabel; }
   virtual void setReferencedLinkLabel(const ZqString& label) { m_referencedLinkLabel = label; }

private:
   bool m_isShapeReferenced = false;
   ZqString m_referencedLinkLabel;
};

/// Says whether a manipulator stands for the model of another one of its system, and of which, and
/// whether others stand for it.
class ZqManipulatorReferenceDescription : public ZqXmlClass<ZqManipulatorReferenceDescription>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorReferenceDescriptionToken; }
   static constexpr const char* documentation = "whose model a manipulator uses";
   template <class This = ZqManipulatorReferenceDescription>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_isManipulatorReferenced, &ZqManip::ZqIsManipulatorReferencedToken,
                     "whether the manipulator uses the model of another one"},
         ZqComponent{&This::m_isManipulatorReferencedBy, &ZqManip::ZqIsManipulatorReferencedByToken,
                     "whether others use the model of this one"},
         ZqComponent{&This::m_referencedManipulatorLabel,
                     &ZqManip::ZqReferencedManipulatorLabelToken,
                     "label of the manipulator whose model it uses"}};
   }
   bool operator==(const ZqManipulatorReferenceDescription&) const = default;

   /// This manipulator is only a reference to another.
   virtual bool isManipulatorReferenced() const { return m_isManipulatorReferenced; }
   virtual void setIsManipulatorReferenced(bool referenced)
   {
      m_isManipulatorReferenced = referenced;
   }
   /// Others refer to this manipulator.
   virtual bool isManipulatorReferencedBy() const { return m_isManipulatorReferencedBy; }
   virtual void setIsManipulatorReferencedBy(bool referencedBy)
   {
      m_isManipulatorReferencedBy = referencedBy;
   }
   virtual const ZqString& referencedManipulatorLabel() const
   {
      return m_referencedManipulatorLabel;
   }
   virtual void setReferencedManipulatorLabel(const ZqString& label)
   {
      m_referencedManipulatorLabel = label;
   }

private:
   bool m_isManipulatorReferenced = false;
   bool m_isManipulatorReferencedBy = false;
   ZqString m_referencedManipulatorLabel;
};

extern template class ZqXmlClass<ZqLinkReferenceDescription>;
extern template class ZqXmlClass<ZqManipulatorReferenceDescription>;
