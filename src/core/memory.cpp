// Aligned memory blocks. Each block is 32-byte aligned, and the word just
// before it holds the address that the heap gave, so that zanFree can give
// it back.
#include "own_memory.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr std::size_t kBlockAlign = 32;

template <class T>
T* allocateElements(int length)
{
    if (length < 1)
        return nullptr;
    return static_cast<T*>(ownAlignedAlloc(static_cast<std::size_t>(length) * sizeof(T)));
}

} // namespace

void* ownAlignedAlloc(std::size_t bytes)
{
    const std::size_t front = sizeof(void*) + kBlockAlign - 1;
    if (bytes > SIZE_MAX - front)
        return nullptr;
    void* raw = std::malloc(bytes + front);
    if (!raw)
        return nullptr;
    const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(raw) + front;
    void* block = reinterpret_cast<void*>(start & ~(kBlockAlign - 1));
    std::memcpy(static_cast<char*>(block) - sizeof(void*), &raw, sizeof(void*));
    return block;
}

extern "C" {

ZAN_API void* zanMalloc(int length) { return allocateElements<uint8_t>(length); }
ZAN_API uint16_t* zanwMalloc(int length) { return allocateElements<uint16_t>(length); }
ZAN_API int32_t* zaniMalloc(int length) { return allocateElements<int32_t>(length); }
ZAN_API float* zansMalloc(int length) { return allocateElements<float>(length); }
ZAN_API double* zandMalloc(int length) { return allocateElements<double>(length); }

ZAN_API void zanFree(void* block)
{
    if (!block)
        return;
    void* raw;
    std::memcpy(&raw, static_cast<char*>(block) - sizeof(void*), sizeof(void*));
    std::free(raw);
}

ZAN_API void zanDeleteROI(ZanROI* roi) { zanFree(roi); }
ZAN_API void zanDeleteTileInfo(ZanTileInfo* tileInfo) { zanFree(tileInfo); }

} // extern "C"
