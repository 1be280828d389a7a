#pragma once

#include "Velmar/SDK/MetaMetadata/MetaElement.h"

namespace Velmar::SDK::MetaMetadata::Visitors {

// One visit per element class; an element's accept calls the one for its own class.
class VELMAR_SDK_API MetaElementVisitor {
  public:
    virtual ~MetaElementVisitor();
    virtual void visit(const MetaElement& element) = 0;
    virtual void visit(const MetaCollectionElement& element) = 0;
    virtual void visit(const MetaReferenceHolder& element) = 0;
    virtual void visit(const MetaSimpleElement& element) = 0;
    virtual void visit(const MetaCollection& element) = 0;
    virtual void visit(const MetaReferenceElement& element) = 0;
    virtual void visit(const MetaReferenceCollection& element) = 0;
};

class VELMAR_SDK_API NonConstMetaElementVisitor {
  public:
    virtual ~NonConstMetaElementVisitor();
    virtual void visit(MetaElement& element) = 0;
    virtual void visit(MetaCollectionElement& element) = 0;
    virtual void visit(MetaReferenceHolder& element) = 0;
    virtual void visit(MetaSimpleElement& element) = 0;
    virtual void visit(MetaCollection& element) = 0;
    virtual void visit(MetaReferenceElement& element) = 0;
    virtual void visit(MetaReferenceCollection& element) = 0;
};

// Does nothing, except that a derived class's visit hands the element on to the visits of its
// bases, so that overriding the visit of a base also catches the classes derived from it.
class VELMAR_SDK_API NullMetaElementVisitor : public MetaElementVisitor {
  public:
    void visit(const MetaElement&) override {}
    void visit(const MetaCollectionElement& element) override;
    void visit(const MetaReferenceHolder&) override {}
    void visit(const MetaSimpleElement& element) override;
    void visit(const MetaCollection& element) override;
    void visit(const MetaReferenceElement& element) override;
    void visit(const MetaReferenceCollection& element) override;
};

class VELMAR_SDK_API NullNonConstMetaElementVisitor : public NonConstMetaElementVisitor {
  public:
    void visit(MetaElement&) override {}
    void visit(MetaCollectionElement& element) override;
    void visit(MetaReferenceHolder&) override {}
    void visit(MetaSimpleElement& element) override;
    void visit(MetaCollection& element) override;
    void visit(MetaReferenceElement& element) override;
    void visit(MetaReferenceCollection& element) override;
};

// Gives the visited element as a T, or null when it is not one.
template <class T>
class GetMetaElementVisitor : public NullMetaElementVisitor {
  public:
    using NullMetaElementVisitor::visit;
    void visit(const T& element) override { result_ = &element; }
    virtual const T* result() const { return result_; }

  private:
    const T* result_ = nullptr;
};

template <class T>
class GetNonConstMetaElementVisitor : public NullNonConstMetaElementVisitor {
  public:
    using NullNonConstMetaElementVisitor::visit;
    void visit(T& element) override { result_ = &element; }
    virtual T* result() const { return result_; }

  private:
    T* result_ = nullptr;
};

}  // namespace Velmar::SDK::MetaMetadata::Visitors
