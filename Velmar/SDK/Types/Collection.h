#pragma once

#include "Velmar/SDK/Types/BaseType.h"

namespace Velmar::SDK::Types {

// An ordered collection of values. Items may be empty (a value text without a text form).
class VELMAR_SDK_API Collection : public BaseType {
  public:
    ~Collection() override;
    // Item count and item size hint (4 bytes each, big-endian), then the items' bytes.
    void serialize(DataIO::DataSink& sink) const override;
    virtual std::size_t serializedSize() const;
    virtual Templates::auto_ptr<Collection> clone() const = 0;

    void append(Templates::auto_ptr<SimpleDataType> item);
    std::size_t size() const { return items_.size(); }
    const SimpleDataType* item(std::size_t index) const { return items_.at(index).get(); }
    // The size hint the collection was made with: 0 means items of no fixed size.
    int itemSize() const { return itemSize_; }

  protected:
    explicit Collection(int itemSize);
    Collection(const Collection& other);

  private:
    Templates::vector<Templates::auto_ptr<SimpleDataType>> items_;
    int itemSize_;
};

// Arrays keep their order as meaningful; batches are sets in which order carries nothing.
class VELMAR_SDK_API Array : public Collection {
    VELMAR_SDK_CLASS_ALLOCATION
    explicit Array(int itemSize);
    void accept(Visitors::NonConstVisitor& visitor) override;
    void accept(Visitors::Visitor& visitor) const override;
    Templates::auto_ptr<Collection> clone() const override;
};

class VELMAR_SDK_API Batch : public Collection {
    VELMAR_SDK_CLASS_ALLOCATION
    explicit Batch(int itemSize);
    void accept(Visitors::NonConstVisitor& visitor) override;
    void accept(Visitors::Visitor& visitor) const override;
    Templates::auto_ptr<Collection> clone() const override;
};

}  // namespace Velmar::SDK::Types
