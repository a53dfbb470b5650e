// A list that most objects don't have: a pointer until the first element comes. Its elements never move. Copied deep.
#pragma once

#include <cstddef>
#include <list>
#include <utility>

#include "data/optional_part.h"

namespace data {

template <typename T>
class OptionalList {
public:
    using iterator = typename std::list<T>::iterator;
    using const_iterator = typename std::list<T>::const_iterator;

    bool empty() const { return list_->empty(); }
    std::size_t size() const { return list_->size(); }
    const_iterator begin() const { return list_->begin(); }
    const_iterator end() const { return list_->end(); }
    iterator begin() { return list_.make().begin(); }
    iterator end() { return list_.make().end(); }
    const T& front() const { return list_->front(); }
    const T& back() const { return list_->back(); }
    T& front() { return list_.make().front(); }
    T& back() { return list_.make().back(); }

    template <typename... Arguments>
    T& emplace_back(Arguments&&... arguments) {
        return list_.make().emplace_back(std::forward<Arguments>(arguments)...);
    }
    void clear() { list_ = {}; }
    void swap(OptionalList& other) noexcept { std::swap(list_, other.list_); }

private:
    OptionalPart<std::list<T>> list_;
};

}  // namespace data
