#include "ItemLabels.h"

#include "KLV.h"

namespace Velmar::MXF {

const Item* itemOf(const LocalSet& set, const std::uint8_t* label) {
    for (const Item& item : set.items) {
        if (item.label && sameLabel(item.label->data(), label)) {
            return &item;
        }
    }
    return nullptr;
}

}  // namespace Velmar::MXF
