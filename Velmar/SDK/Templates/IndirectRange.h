#pragma once

#include <cstddef>
#include <iterator>

namespace Velmar::SDK::Templates {

// A read-only view of a container of owning pointers that yields the objects themselves, so
// that range-for gives `const T&` and the container's ownership stays out of the interface.
template <class T, class Container>
class IndirectRange {
  public:
    class iterator {
      public:
        using iterator_category = std::random_access_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = const T*;
        using reference = const T&;

        iterator() = default;
        explicit iterator(typename Container::const_iterator at) : at_(at) {}
        reference operator*() const { return **at_; }
        pointer operator->() const { return &**at_; }
        reference operator[](difference_type n) const { return *at_[n]; }
        iterator& operator++() {
            ++at_;
            return *this;
        }
        iterator operator++(int) { return iterator(at_++); }
        iterator& operator--() {
            --at_;
            return *this;
        }
        iterator operator--(int) { return iterator(at_--); }
        iterator& operator+=(difference_type n) {
            at_ += n;
            return *this;
        }
        iterator& operator-=(difference_type n) {
            at_ -= n;
            return *this;
        }
        friend iterator operator+(iterator i, difference_type n) { return i += n; }
        friend iterator operator+(difference_type n, iterator i) { return i += n; }
        friend iterator operator-(iterator i, difference_type n) { return i -= n; }
        friend difference_type operator-(const iterator& a, const iterator& b) {
            return a.at_ - b.at_;
        }
        friend bool operator==(const iterator& a, const iterator& b) { return a.at_ == b.at_; }
        friend bool operator!=(const iterator& a, const iterator& b) { return a.at_ != b.at_; }
        friend bool operator<(const iterator& a, const iterator& b) { return a.at_ < b.at_; }
        friend bool operator>(const iterator& a, const iterator& b) { return a.at_ > b.at_; }
        friend bool operator<=(const iterator& a, const iterator& b) { return a.at_ <= b.at_; }
        friend bool operator>=(const iterator& a, const iterator& b) { return a.at_ >= b.at_; }

      private:
        typename Container::const_iterator at_{};
    };
    using const_iterator = iterator;

    explicit IndirectRange(const Container& items) : items_(&items) {}
    iterator begin() const { return iterator(items_->begin()); }
    iterator end() const { return iterator(items_->end()); }
    std::size_t size() const { return items_->size(); }
    bool empty() const { return items_->empty(); }
    const T& operator[](std::size_t index) const { return *(*items_)[index]; }

  private:
    const Container* items_;
};

}  // namespace Velmar::SDK::Templates
