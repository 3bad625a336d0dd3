#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

namespace dovra {

/// A growing array of trivially copyable values. Unlike `std::vector` it grows through `realloc`, which moves
/// the pages of a large block instead of copying its bytes: filling an array of gigabytes costs no copies and
/// no second block. New elements of `extend` are not initialised. Not thread-safe.
template <typename T>
class PodVector {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    PodVector() = default;
    ~PodVector() { std::free(data_); }
    PodVector(const PodVector&) = delete;
    PodVector& operator=(const PodVector&) = delete;
    PodVector(PodVector&& other) noexcept { swap(other); }
    PodVector& operator=(PodVector&& other) noexcept {
        swap(other);
        return *this;
    }

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    std::size_t capacityBytes() const { return capacity_ * sizeof(T); }
    T* data() { return data_; }
    const T* data() const { return data_; }
    T& operator[](std::size_t i) { return data_[i]; }
    const T& operator[](std::size_t i) const { return data_[i]; }
    T* begin() { return data_; }
    T* end() { return data_ + size_; }
    const T* begin() const { return data_; }
    const T* end() const { return data_ + size_; }
    T& back() { return data_[size_ - 1]; }
    const T& back() const { return data_[size_ - 1]; }
    std::span<const T> span() const { return {data_, size_}; }

    void push_back(const T& value) {
        const T copy = value;
        *extend(1) = copy;
    }

    void append(const T* values, std::size_t count) {
        if (count != 0) std::memcpy(static_cast<void*>(extend(count)), values, count * sizeof(T));
    }

    /// Grows by `count` elements and returns the first of them, not initialised.
    T* extend(std::size_t count) {
        if (size_ + count > capacity_) reserve(grownCapacity(size_ + count));
        T* added = data_ + size_;
        size_ += count;
        return added;
    }

    /// Sets the size; new elements are zero bytes.
    void resizeZeroed(std::size_t count) {
        if (count > size_) {
            const std::size_t added = count - size_;
            std::memset(static_cast<void*>(extend(added)), 0, added * sizeof(T));
        }
        size_ = count;
    }

    /// Drops the elements from `count` on; the memory is kept.
    void truncate(std::size_t count) { size_ = count; }

    void reserve(std::size_t count) {
        if (count <= capacity_) return;
        void* grown = std::realloc(static_cast<void*>(data_), count * sizeof(T));
        if (grown == nullptr) throw std::bad_alloc();
        data_ = static_cast<T*>(grown);
        capacity_ = count;
    }

    /// Empties the array and gives its memory back.
    void clear() { PodVector().swap(*this); }

    void swap(PodVector& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        std::swap(capacity_, other.capacity_);
    }

private:
    /// A small block is copied when it grows, so it grows by half. A large one is moved, so it grows by less
    /// and leaves less unused.
    std::size_t grownCapacity(std::size_t needed) const {
        constexpr std::size_t largeBytes = std::size_t{1} << 20;
        const std::size_t growth = capacityBytes() < largeBytes ? capacity_ / 2 : capacity_ / 8;
        return std::max(needed, capacity_ + growth + 16);
    }

    T* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

}  // namespace dovra
