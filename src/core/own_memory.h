// Scoped ownership of the library's blocks and images, for use inside a call.
#pragma once

#include "zan.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

// A 32-byte aligned block of any size, freed with zanFree; null when the
// heap is exhausted.
void* ownAlignedAlloc(std::size_t bytes);

// A block of count values of T from the library's allocator, freed when the
// owner goes out of scope. Test ok() after making one.
template <class T>
class OwnBuffer {
public:
    OwnBuffer() = default;
    explicit OwnBuffer(std::size_t count)
        : data_(static_cast<T*>(ownAlignedAlloc(count * sizeof(T) + (count == 0)))), size_(count)
    {
    }
    OwnBuffer(OwnBuffer&& other) noexcept
        : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0))
    {
    }
    OwnBuffer& operator=(OwnBuffer&& other) noexcept
    {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        return *this;
    }
    OwnBuffer(const OwnBuffer&) = delete;
    OwnBuffer& operator=(const OwnBuffer&) = delete;
    ~OwnBuffer() { zanFree(data_); }

    bool ok() const { return data_ != nullptr; }
    T* data() const { return data_; }
    std::size_t size() const { return size_; }
    T& operator[](std::size_t i) const { return data_[i]; }
    // Gives the block up to the caller, who frees it with zanFree.
    T* release() { return std::exchange(data_, nullptr); }

private:
    T* data_ = nullptr;
    std::size_t size_ = 0;
};

// An image header that is deallocated with the given flags when the owner
// goes out of scope.
class OwnImageOwner {
public:
    OwnImageOwner() = default;
    OwnImageOwner(ZanImage* image, int flags) : image_(image), flags_(flags) {}
    OwnImageOwner(OwnImageOwner&& other) noexcept
        : image_(std::exchange(other.image_, nullptr)), flags_(other.flags_)
    {
    }
    OwnImageOwner& operator=(OwnImageOwner&& other) noexcept
    {
        std::swap(image_, other.image_);
        std::swap(flags_, other.flags_);
        return *this;
    }
    OwnImageOwner(const OwnImageOwner&) = delete;
    OwnImageOwner& operator=(const OwnImageOwner&) = delete;
    ~OwnImageOwner() { zanDeallocate(image_, flags_); }

    ZanImage* get() const { return image_; }
    ZanImage* operator->() const { return image_; }
    explicit operator bool() const { return image_ != nullptr; }
    ZanImage* release() { return std::exchange(image_, nullptr); }

private:
    ZanImage* image_ = nullptr;
    int flags_ = 0;
};

// A block from the library's allocator handed out by a helper (such as a
// working rectangle), freed with zanFree when the owner goes out of scope.
struct OwnFreeBlock {
    void operator()(char* block) const { zanFree(block); }
};
using OwnBlock = std::unique_ptr<char, OwnFreeBlock>;
