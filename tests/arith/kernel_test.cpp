// Every packed kernel against its own scalar functor, for every run length
// 0..70 at every start offset 0..31, on random and extreme values.
#include "arith/own_arith.h"
#include "arith/own_logic.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kMaxLength = 70;
constexpr int kMaxOffset = 31;

template <class T>
std::vector<T> randomValues(std::mt19937& rng, std::size_t n)
{
    // Half of the values at or near the limits, where saturation happens.
    std::vector<T> values(n);
    const T extremes[] = {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), T(0), T(1),
                          T(std::numeric_limits<T>::max() / 2), T(std::numeric_limits<T>::min() / 2)};
    for (T& v : values) {
        if (rng() & 1)
            v = extremes[rng() % 6];
        else
            v = static_cast<T>(rng());
    }
    return values;
}

// Compares op.run + scalar tail with the scalar functor alone.
template <class T, class Op>
void compareBinary(const Op& op, const std::string& name, uint32_t seed)
{
    std::mt19937 rng(seed);
    const std::size_t size = kMaxLength + kMaxOffset + 1;
    for (int offset = 0; offset <= kMaxOffset; ++offset) {
        for (int length = 0; length <= kMaxLength; ++length) {
            const auto a = randomValues<T>(rng, size);
            const auto b = randomValues<T>(rng, size);
            std::vector<T> vector(size, T(0x5A)), scalar(size, T(0x5A));
            const std::size_t done = op.run(vector.data() + offset, a.data() + offset, b.data() + offset, length);
            ASSERT_LE(done, static_cast<std::size_t>(length));
            for (int i = static_cast<int>(done); i < length; ++i)
                vector[offset + i] = op(a[offset + i], b[offset + i]);
            for (int i = 0; i < length; ++i)
                scalar[offset + i] = op(a[offset + i], b[offset + i]);
            ASSERT_TRUE(vector == scalar) << name << " length " << length << " offset " << offset;
        }
    }
}

template <class T, class Op>
void compareUnary(const Op& op, const std::string& name, uint32_t seed)
{
    std::mt19937 rng(seed);
    const std::size_t size = kMaxLength + kMaxOffset + 1;
    for (int offset = 0; offset <= kMaxOffset; ++offset) {
        for (int length = 0; length <= kMaxLength; ++length) {
            const auto a = randomValues<T>(rng, size);
            std::vector<T> vector(size, T(0x5A)), scalar(size, T(0x5A));
            const std::size_t done = op.run(vector.data() + offset, a.data() + offset, length);
            ASSERT_LE(done, static_cast<std::size_t>(length));
            for (int i = static_cast<int>(done); i < length; ++i)
                vector[offset + i] = op(a[offset + i]);
            for (int i = 0; i < length; ++i)
                scalar[offset + i] = op(a[offset + i]);
            ASSERT_TRUE(vector == scalar) << name << " length " << length << " offset " << offset;
        }
    }
}

template <class T>
void compareImageKernels(uint32_t seed)
{
    compareBinary<T>(OwnAddOp<T>{}, "add", seed);
    compareBinary<T>(OwnSubOp<T>{}, "subtract", seed + 1);
    compareBinary<T>(OwnMulOp<T>{}, "multiply", seed + 2);
    compareBinary<T>(OwnBitwiseOp<T, OwnAndFn>{}, "and", seed + 3);
    compareBinary<T>(OwnBitwiseOp<T, OwnOrFn>{}, "or", seed + 4);
    compareBinary<T>(OwnBitwiseOp<T, OwnXorFn>{}, "xor", seed + 5);
    compareBinary<T>(OwnBitwiseOp<T, OwnAndNotFn>{}, "and not", seed + 6);
}

TEST(PackedKernels, ImageOperationsEqualTheirScalarForm)
{
    compareImageKernels<uint8_t>(1);
    compareImageKernels<int8_t>(11);
    compareImageKernels<uint16_t>(21);
    compareImageKernels<int16_t>(31);
    compareBinary<uint32_t>(OwnBitwiseOp<uint32_t, OwnXorFn>{}, "xor 32", 41);
}

// Constants as the drivers pass them: within twice the depth's range.
template <class T>
void compareConstantKernels(const std::vector<int64_t>& subtractConstants,
                            const std::vector<int64_t>& reverseConstants,
                            const std::vector<int64_t>& multiplyConstants, uint32_t seed)
{
    for (int64_t v : subtractConstants)
        compareUnary<T>(OwnSubConstOp<T>{v, false}, "a - " + std::to_string(v), seed++);
    for (int64_t v : reverseConstants)
        compareUnary<T>(OwnSubConstOp<T>{v, true}, std::to_string(v) + " - a", seed++);
    if constexpr (sizeof(T) == 1)
        for (int64_t v : multiplyConstants)
            compareUnary<T>(OwnMulConstOp<T>{v}, "a * " + std::to_string(v), seed++);
    for (uint32_t pattern : {0u, 0xFFFFFFFFu, 0x12345678u})
        compareUnary<T>(OwnBitwisePatternOp<T, OwnXorFn>{pattern}, "xor pattern", seed++);
}

TEST(PackedKernels, ConstantOperationsEqualTheirScalarForm)
{
    compareConstantKernels<uint8_t>({-254, -1, 0, 1, 100, 254}, {1, 100, 255, 256, 509}, {1, 2, 100, 255}, 100);
    compareConstantKernels<int8_t>({-255, -128, -1, 0, 1, 127, 200, 255}, {-256, -129, -1, 0, 128, 254},
                                   {-128, -3, 0, 1, 5, 128}, 200);
    compareConstantKernels<uint16_t>({-65534, -300, 0, 1, 65534}, {1, 40000, 65535, 65536, 131069}, {}, 300);
    compareConstantKernels<int16_t>({-65535, -32768, -1, 0, 40000, 65535}, {-65536, -1, 0, 32768, 65534}, {}, 400);
}

TEST(PackedKernels, ShiftsEqualTheirScalarForm)
{
    for (int n = 1; n < 8; ++n) {
        compareUnary<uint8_t>(OwnLeftShiftOp<uint8_t>{n}, "8 << n", 500 + n);
        compareUnary<uint8_t>(OwnRightShiftOp<uint8_t>{n}, "8U >> n", 510 + n);
        compareUnary<int8_t>(OwnRightShiftOp<int8_t>{n}, "8S >> n", 520 + n);
    }
    for (int n : {1, 5, 8, 15}) {
        compareUnary<uint16_t>(OwnLeftShiftOp<uint16_t>{n}, "16 << n", 530 + n);
        compareUnary<uint16_t>(OwnRightShiftOp<uint16_t>{n}, "16U >> n", 550 + n);
        compareUnary<int16_t>(OwnRightShiftOp<int16_t>{n}, "16S >> n", 570 + n);
    }
    for (int n : {1, 16, 31}) {
        compareUnary<uint32_t>(OwnLeftShiftOp<uint32_t>{n}, "32 << n", 590 + n);
        compareUnary<int32_t>(OwnRightShiftOp<int32_t>{n}, "32S >> n", 630 + n);
    }
}

} // namespace
