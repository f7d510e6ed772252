// Products of fractions, premultiplication and the composite operators,
// against references written from their arithmetic.
#include "compose_util.h"

#include "arith/own_alpha.h"

#include <gtest/gtest.h>

#include <bit>
#include <functional>
#include <cmath>
#include <string>
#include <utility>

namespace {

using zt::Participant;
using zt::Shape;

uint32_t fullOf(uint32_t depth) { return depth == ZAN_DEPTH_8U ? 255u : 65535u; }

// floor(x * y / M), the scaled product.
uint32_t product(uint32_t x, uint32_t y, uint32_t M) { return static_cast<uint32_t>(uint64_t{x} * y / M); }
uint32_t sum(uint32_t x, uint32_t y, uint32_t M) { return std::min(x + y, M); }

// One composite as the tests describe it.
struct Composite {
    int op;
    bool premul;
    bool divide;
    uint32_t depth;
};

uint32_t integerColor(const Composite& k, uint32_t A, uint32_t B, uint32_t a, uint32_t b)
{
    const uint32_t M = fullOf(k.depth);
    const uint32_t ap = k.premul ? A : product(A, a, M);
    const uint32_t bp = k.premul ? B : product(B, b, M);
    switch (k.op) {
    case ZAN_COMPOSITE_OVER: return sum(ap, product(M - a, bp, M), M);
    case ZAN_COMPOSITE_IN: return product(ap, b, M);
    case ZAN_COMPOSITE_OUT: return product(ap, M - b, M);
    case ZAN_COMPOSITE_ATOP: return sum(product(ap, b, M), product(M - a, bp, M), M);
    case ZAN_COMPOSITE_XOR: return sum(product(ap, M - b, M), product(M - a, bp, M), M);
    default: return sum(ap, bp, M);
    }
}

uint32_t integerAlpha(const Composite& k, uint32_t a, uint32_t b)
{
    const uint32_t M = fullOf(k.depth);
    switch (k.op) {
    case ZAN_COMPOSITE_OVER: return sum(a, product(M - a, b, M), M);
    case ZAN_COMPOSITE_IN: return product(a, b, M);
    case ZAN_COMPOSITE_OUT: return product(a, M - b, M);
    case ZAN_COMPOSITE_ATOP: return b;
    case ZAN_COMPOSITE_XOR: return sum(product(a, M - b, M), product(M - a, b, M), M);
    default: return sum(a, b, M);
    }
}

// The floating path in the precision of the depth: colour (wantAlpha false)
// or result alpha, rounded half to even and held at M.
template <class R>
uint32_t realResult(const Composite& k, R kk, R threshold, uint32_t A, uint32_t B, uint32_t a, uint32_t b,
                    bool wantAlpha)
{
    const R M = static_cast<R>(fullOf(k.depth));
    const R alpha = static_cast<R>(a) * kk;
    const R beta = static_cast<R>(b) * kk;
    const R P = k.premul ? static_cast<R>(A) : static_cast<R>(A) * alpha;
    const R Q = k.premul ? static_cast<R>(B) : static_cast<R>(B) * beta;
    const R one = 1;
    R C = 0;
    R res = 0;
    switch (k.op) {
    case ZAN_COMPOSITE_OVER: C = P + (one - alpha) * Q; res = alpha + (one - alpha) * beta; break;
    case ZAN_COMPOSITE_IN: C = P * beta; res = alpha * beta; break;
    case ZAN_COMPOSITE_OUT: C = P * (one - beta); res = alpha * (one - beta); break;
    case ZAN_COMPOSITE_ATOP: C = P * beta + (one - alpha) * Q; res = beta; break;
    case ZAN_COMPOSITE_XOR: C = (one - alpha) * Q + (one - beta) * P; res = (one - alpha) * beta + (one - beta) * alpha; break;
    default: C = P + Q; res = alpha + beta; break;
    }
    R value = res * M;
    if (!wantAlpha) {
        value = C;
        if (res > threshold)
            value = std::min(C / res, M);
    }
    return static_cast<uint32_t>(std::min(std::nearbyint(value), M));
}

uint32_t realResult(const Composite& k, uint32_t A, uint32_t B, uint32_t a, uint32_t b, bool wantAlpha)
{
    if (k.depth == ZAN_DEPTH_8U)
        return realResult<float>(k, std::bit_cast<float>(0x3B808081u), std::bit_cast<float>(0x37010183u), A, B,
                                 a, b, wantAlpha);
    return realResult<double>(k, 1.5259021896696422e-05, 1.1641887462193043e-10, A, B, a, b, wantAlpha);
}

uint32_t expectedColor(const Composite& k, uint32_t A, uint32_t B, uint32_t a, uint32_t b)
{
    return k.divide ? realResult(k, A, B, a, b, false) : integerColor(k, A, B, a, b);
}

uint32_t expectedAlpha(const Composite& k, uint32_t a, uint32_t b)
{
    return k.divide ? realResult(k, 0, 0, a, b, true) : integerAlpha(k, a, b);
}

std::string describe(const Composite& k)
{
    return "op " + std::to_string(k.op) + " premul " + std::to_string(k.premul) + " divide " +
           std::to_string(k.divide) + " " + zt::depthName(k.depth);
}

uint32_t at(const ZanImage* image, int x, int y, int c) { return static_cast<uint32_t>(zt::sampleAt(image, x, y, c)); }

TEST(ScaledProduct, IsTheFloorOfTheFractionForEveryEightBitPair)
{
    const Shape shape{ZAN_DEPTH_8U, 1, 256, 256};
    zt::Image a = zt::makeImage(shape);
    zt::Image b = zt::makeImage(shape);
    zt::Image d = zt::makeImage(shape);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) {
            zt::setSampleAt(a.get(), x, y, 0, x);
            zt::setSampleAt(b.get(), x, y, 0, y);
        }
    zanMultiplyScale(a.get(), b.get(), d.get());
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x)
            ASSERT_EQ(at(d.get(), x, y, 0), product(x, y, 255)) << x << " " << y;
}

TEST(ScaledProduct, IsTheFloorOfTheFractionForSixteenBits)
{
    std::mt19937 rng(5);
    const Shape shape{ZAN_DEPTH_16U, 3, 61, 37, ZAN_DATA_ORDER_PLANE};
    zt::Image a = zt::makeRandomImage(shape, rng);
    zt::Image b = zt::makeRandomImage(shape, rng);
    zt::Image d = zt::makeImage(shape);
    const uint32_t edges[] = {0, 1, 2, 255, 32768, 65534, 65535};
    for (int i = 0; i < 7; ++i)
        for (int j = 0; j < 7; ++j) {
            zt::setSampleAt(a.get(), i, j, 1, edges[i]);
            zt::setSampleAt(b.get(), i, j, 1, edges[j]);
        }
    zanMultiplyScale(a.get(), b.get(), d.get());
    for (int c = 0; c < 3; ++c)
        for (int y = 0; y < shape.height; ++y)
            for (int x = 0; x < shape.width; ++x)
                ASSERT_EQ(at(d.get(), x, y, c), product(at(a.get(), x, y, c), at(b.get(), x, y, c), 65535));
    EXPECT_EQ(at(d.get(), 6, 6, 1), 65535u);
}

// Every operator over every pair of 8-bit alphas (a by column, b by row),
// and over 16-bit alphas with their edges, from the sources' alpha channels.
TEST(AlphaComposite, EveryOperatorMatchesItsFormulaOverAllAlphas)
{
    std::mt19937 rng(11);
    for (uint32_t depth : {ZAN_DEPTH_8U, ZAN_DEPTH_16U}) {
        const int size = depth == ZAN_DEPTH_8U ? 256 : 48;
        const Shape shape{depth, 4, size, size, ZAN_DATA_ORDER_PIXEL, 4};
        zt::Image A = zt::makeRandomImage(shape, rng);
        zt::Image B = zt::makeRandomImage(shape, rng);
        const uint32_t M = fullOf(depth);
        const uint32_t edges[] = {0, 1, M / 2, M - 1, M};
        for (int y = 0; y < size; ++y)
            for (int x = 0; x < size; ++x) {
                const uint32_t a = depth == ZAN_DEPTH_8U ? x : x < 5 ? edges[x] : rng() % (M + 1);
                const uint32_t b = depth == ZAN_DEPTH_8U ? y : y < 5 ? edges[y] : rng() % (M + 1);
                zt::setSampleAt(A.get(), x, y, 3, a);
                zt::setSampleAt(B.get(), x, y, 3, b);
            }
        for (int op = 0; op < 6; ++op)
            for (int premul = 0; premul < 2; ++premul)
                for (int divide = 0; divide < 2; ++divide) {
                    const Composite k{op, premul == 1, divide == 1, depth};
                    SCOPED_TRACE(describe(k));
                    zt::Image D = zt::makeImage(shape);
                    zanAlphaComposite(A.get(), B.get(), D.get(), op, nullptr, nullptr, nullptr, premul, divide);
                    ASSERT_EQ(zanGetErrStatus(), 0);
                    for (int y = 0; y < size; ++y)
                        for (int x = 0; x < size; ++x) {
                            const uint32_t a = at(A.get(), x, y, 3);
                            const uint32_t b = at(B.get(), x, y, 3);
                            for (int c = 0; c < 3; ++c)
                                ASSERT_EQ(at(D.get(), x, y, c), expectedColor(k, at(A.get(), x, y, c), at(B.get(), x, y, c), a, b))
                                    << "x " << x << " y " << y << " c " << c;
                            ASSERT_EQ(at(D.get(), x, y, 3), expectedAlpha(k, a, b)) << "x " << x << " y " << y;
                        }
                }
    }
}

// The run kernel of the integer path, packed lanes and scalar tail, against
// the formulas at every length up to 41 and every operator.
template <class T, int Op, bool Premul>
void checkRun(std::mt19937& rng)
{
    const Composite k{Op, Premul, false, sizeof(T) == 1 ? ZAN_DEPTH_8U : ZAN_DEPTH_16U};
    const uint32_t M = fullOf(k.depth);
    for (int n = 1; n <= 41; ++n) {
        alignas(16) uint16_t A[48], B[48], a[48], b[48], out[48];
        for (int i = 0; i < n; ++i) {
            A[i] = static_cast<uint16_t>(rng() % (M + 1));
            B[i] = static_cast<uint16_t>(rng() % (M + 1));
            a[i] = static_cast<uint16_t>(i % 5 == 0 ? M : i % 7 == 0 ? 0 : rng() % (M + 1));
            b[i] = static_cast<uint16_t>(i % 3 == 0 ? M : rng() % (M + 1));
        }
        ownCompositeRun<T, Op, Premul>(out, A, B, a, b, n);
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(out[i], integerColor(k, A[i], B[i], a[i], b[i])) << describe(k) << " n " << n << " i " << i;
        ownCompositeRun<T, Op, Premul>(out, nullptr, nullptr, a, b, n);
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(out[i], integerAlpha(k, a[i], b[i])) << describe(k) << " n " << n << " i " << i;
    }
}

template <class T>
void checkRuns(std::mt19937& rng)
{
    [&]<int... Op>(std::integer_sequence<int, Op...>) {
        (checkRun<T, Op, false>(rng), ...);
        (checkRun<T, Op, true>(rng), ...);
    }(std::make_integer_sequence<int, 6>{});
}

TEST(CompositeRun, PackedLanesAndTailMatchTheFormulas)
{
    std::mt19937 rng(47);
    checkRuns<uint8_t>(rng);
    checkRuns<uint16_t>(rng);
}

// A random composite: shapes, orders, ROIs, COIs, masks, tiles and alpha
// images, checked over every sample of the written images.
struct RandomComposite {
    RandomComposite(std::mt19937& r, uint32_t d, bool c) : rng(r), depth(d), constants(c) {}
    std::mt19937& rng;
    uint32_t depth;
    bool constants; // zanAlphaCompositeC

    Participant dst, srcA, srcB, alphaA, alphaB, alphaDst;
    int argA = 0, argB = 0;
    Composite kind{};

    Shape shapeOf(int colors, bool alpha)
    {
        Shape s{depth, colors + (alpha ? 1 : 0), ct::range(rng, 1, 40), ct::range(rng, 1, 30), ct::range(rng, 0, 1)};
        s.alpha = alpha ? s.channels : 0;
        return s;
    }
    Participant make(const Shape& shape, int coi)
    {
        Participant p = ct::makeParticipant(shape, rng, ct::range(rng, 0, 2) == 0);
        if (coi > 0 || ct::range(rng, 0, 1))
            ct::randomRoi(p.header(), rng, coi);
        if (ct::range(rng, 0, 3) == 0)
            zt::attachRandomMask(p.header(), ct::range(rng, 1, 45), ct::range(rng, 1, 35), rng);
        return p;
    }

    void build()
    {
        const int colors = ct::range(rng, 1, 3);
        const bool coi = ct::range(rng, 0, 3) == 0;
        auto coiOf = [&] { return coi ? ct::range(rng, 1, colors) : 0; };
        kind = {ct::range(rng, 0, 5), ct::range(rng, 0, 1) == 1, ct::range(rng, 0, 1) == 1, depth};
        const bool useAlphaA = !constants && ct::range(rng, 0, 1);
        dst = make(shapeOf(colors, ct::range(rng, 0, 1)), coiOf());
        srcA = make(shapeOf(colors, !useAlphaA || ct::range(rng, 0, 1)), coiOf());
        srcB = make(shapeOf(colors, ct::range(rng, 0, 1)), coiOf());
        const uint32_t M = fullOf(depth);
        if (constants) {
            argA = srcA.header()->alphaChannel && ct::range(rng, 0, 1) ? -1 : static_cast<int>(rng() % (M + 1));
            argB = srcB.header()->alphaChannel && ct::range(rng, 0, 1) ? static_cast<int>(M) + 1
                                                                        : static_cast<int>(rng() % (M + 1));
            return;
        }
        auto alphaImage = [&](bool needsAlpha) {
            const bool alpha = needsAlpha || ct::range(rng, 0, 1);
            return make(shapeOf(alpha ? ct::range(rng, 0, 1) : 1, alpha), 0);
        };
        if (useAlphaA)
            alphaA = alphaImage(false);
        if (ct::range(rng, 0, 2) == 0)
            alphaB = alphaImage(false);
        if (ct::range(rng, 0, 2) == 0)
            alphaDst = alphaImage(true);
    }

    void run()
    {
        if (constants)
            zanAlphaCompositeC(srcA.header(), srcB.header(), dst.header(), kind.op, argA, argB, kind.premul,
                               kind.divide);
        else
            zanAlphaComposite(srcA.header(), srcB.header(), dst.header(), kind.op, alphaA.header(),
                              alphaB.header(), alphaDst.header(), kind.premul, kind.divide);
    }

    static const ZanImage* headerOf(const Participant& p) { return p.plain || p.tiled ? p.header() : nullptr; }

    // The expected content of the destination and the result-alpha image.
    void expect(zt::Image& dstOut, zt::Image& alphaOut)
    {
        const ZanImage* d = dst.content();
        const ZanImage* a = srcA.content();
        const ZanImage* b = srcB.content();
        const ZanImage* aa = headerOf(alphaA) ? alphaA.content() : nullptr;
        const ZanImage* ab = headerOf(alphaB) ? alphaB.content() : nullptr;
        const ZanImage* ad = headerOf(alphaDst) ? alphaDst.content() : nullptr;
        const ZanImage* resultImage = ad ? ad : d->alphaChannel ? d : nullptr;
        zt::Rect size = ct::commonSize({dst.header(), srcA.header(), srcB.header(), headerOf(alphaA),
                                        headerOf(alphaB), headerOf(alphaDst)});
        const ct::MaskSet masks({dst.header(), srcA.header(), srcB.header(), headerOf(alphaDst),
                                 headerOf(alphaA), headerOf(alphaB)});
        masks.lower(size.width, size.height);
        const uint32_t M = fullOf(depth);
        const int count = zt::channelCount(dst.header());
        auto alphaAt = [](const ZanImage* image, const zt::Rect& r, int i, int j) {
            return at(image, r.x + i, r.y + j, image->alphaChannel ? image->alphaChannel - 1 : 0);
        };
        const zt::Rect rd = zt::regionOf(dst.header()), ra = zt::regionOf(srcA.header()),
                       rb = zt::regionOf(srcB.header());
        for (int j = 0; j < size.height; ++j)
            for (int i = 0; i < size.width; ++i) {
                if (!masks.at(i, j))
                    continue;
                uint32_t alpha;
                uint32_t beta;
                if (constants) {
                    alpha = argA >= 0 && static_cast<uint32_t>(argA) <= M ? argA : alphaAt(a, ra, i, j);
                    beta = argB >= 0 && static_cast<uint32_t>(argB) <= M ? argB : alphaAt(b, rb, i, j);
                } else {
                    alpha = aa ? alphaAt(aa, zt::regionOf(alphaA.header()), i, j) : alphaAt(a, ra, i, j);
                    beta = ab ? alphaAt(ab, zt::regionOf(alphaB.header()), i, j)
                          : (!aa && b->alphaChannel) ? alphaAt(b, rb, i, j)
                                                     : M - alpha;
                }
                for (int c = 0; c < count; ++c)
                    zt::setSampleAt(dstOut.get(), rd.x + i, rd.y + j, zt::firstChannel(dst.header()) + c,
                                    expectedColor(kind, at(a, ra.x + i, ra.y + j, zt::firstChannel(srcA.header()) + c),
                                                  at(b, rb.x + i, rb.y + j, zt::firstChannel(srcB.header()) + c), alpha, beta));
                if (!constants && resultImage) {
                    ZanImage* out = resultImage == ad ? alphaOut.get() : dstOut.get();
                    const zt::Rect r = zt::regionOf(resultImage == ad ? alphaDst.header() : dst.header());
                    zt::setSampleAt(out, r.x + i, r.y + j, resultImage->alphaChannel - 1, expectedAlpha(kind, alpha, beta));
                }
            }
    }
};

void expectSameSamples(const ZanImage* actual, const ZanImage* expected)
{
    for (int c = 0; c < expected->nChannels; ++c)
        for (int y = 0; y < expected->height; ++y)
            for (int x = 0; x < expected->width; ++x)
                ASSERT_EQ(zt::sampleAt(actual, x, y, c), zt::sampleAt(expected, x, y, c))
                    << "x " << x << " y " << y << " c " << c;
}

TEST(AlphaComposite, RandomLayoutsTilesAndMasksMatchTheReference)
{
    std::mt19937 rng(23);
    zt::RecordingReporter recorder;
    for (int i = 0; i < 400; ++i) {
        RandomComposite t(rng, i % 2 ? ZAN_DEPTH_16U : ZAN_DEPTH_8U, i % 4 >= 2);
        t.build();
        zt::Image dstOut(zanCloneImage(t.dst.content()));
        zt::Image alphaOut(t.alphaDst.plain || t.alphaDst.tiled ? zanCloneImage(t.alphaDst.content()) : nullptr);
        t.expect(dstOut, alphaOut);
        t.run();
        SCOPED_TRACE("case " + std::to_string(i) + " " + describe(t.kind));
        ASSERT_TRUE(recorder.reports().empty()) << recorder.reports().front().context;
        ct::collect(t.dst);
        expectSameSamples(t.dst.content(), dstOut.get());
        if (alphaOut) {
            ct::collect(t.alphaDst);
            expectSameSamples(t.alphaDst.content(), alphaOut.get());
        }
        for (const Participant* p : {&t.dst, &t.srcA, &t.srcB, &t.alphaA, &t.alphaB, &t.alphaDst}) {
            ASSERT_FALSE(p->tiled && p->tiled->misuse) << "tile misuse";
        }
    }
}

// Products and premultiplication over random layouts, tiles and masks.
TEST(MultiplyScale, RandomLayoutsTilesAndMasksMatchTheReference)
{
    std::mt19937 rng(29);
    zt::RecordingReporter recorder;
    for (int i = 0; i < 300; ++i) {
        const uint32_t depth = i % 2 ? ZAN_DEPTH_16U : ZAN_DEPTH_8U;
        const uint32_t M = fullOf(depth);
        const int colors = ct::range(rng, 1, 3);
        const int form = i % 3; // 0 two images, 1 a constant, 2 premultiplication
        auto make = [&](bool alpha, int coi) {
            Shape s{depth, colors + alpha, ct::range(rng, 1, 40), ct::range(rng, 1, 30), ct::range(rng, 0, 1)};
            s.alpha = alpha ? s.channels : 0;
            Participant p = ct::makeParticipant(s, rng, ct::range(rng, 0, 2) == 0);
            if (coi > 0 || ct::range(rng, 0, 1))
                ct::randomRoi(p.header(), rng, coi);
            if (ct::range(rng, 0, 3) == 0)
                zt::attachRandomMask(p.header(), ct::range(rng, 1, 45), ct::range(rng, 1, 35), rng);
            return p;
        };
        const bool coi = ct::range(rng, 0, 3) == 0;
        Participant dst = make(form == 2 || ct::range(rng, 0, 1), coi ? ct::range(rng, 1, colors) : 0);
        Participant a = form == 2 ? Participant{} : make(ct::range(rng, 0, 1), coi ? ct::range(rng, 1, colors) : 0);
        Participant b = form == 0 ? make(ct::range(rng, 0, 1), coi ? ct::range(rng, 1, colors) : 0) : Participant{};
        const int value = ct::range(rng, 0, 3) == 0 ? -1 : ct::range(rng, -5, static_cast<int>(M) + 5);
        SCOPED_TRACE("case " + std::to_string(i) + " form " + std::to_string(form) + " value " + std::to_string(value));

        zt::Image expected(zanCloneImage(dst.content()));
        const ZanImage* srcHeader = form == 2 ? dst.header() : a.header();
        const ZanImage* src = form == 2 ? dst.content() : a.content();
        zt::Rect size = ct::commonSize({dst.header(), form == 2 ? nullptr : a.header(), form == 0 ? b.header() : nullptr});
        const ct::MaskSet masks({dst.header(), form == 2 ? nullptr : a.header(), form == 0 ? b.header() : nullptr});
        masks.lower(size.width, size.height);
        const zt::Rect rd = zt::regionOf(dst.header()), rs = zt::regionOf(srcHeader);
        const zt::Rect rb = form == 0 ? zt::regionOf(b.header()) : zt::Rect{};
        const int count = coi ? 1 : zt::channelCount(dst.header());
        const bool constant = form == 2 && value >= 0 && static_cast<uint32_t>(value) <= M;
        for (int j = 0; j < size.height; ++j)
            for (int x = 0; x < size.width; ++x) {
                if (!masks.at(x, j))
                    continue;
                for (int c = 0; c < count; ++c) {
                    const uint32_t s = at(src, rs.x + x, rs.y + j, zt::firstChannel(srcHeader) + c);
                    uint32_t scale = static_cast<uint32_t>(std::clamp(value, 0, static_cast<int>(M)));
                    if (form == 0)
                        scale = at(b.content(), rb.x + x, rb.y + j, zt::firstChannel(b.header()) + c);
                    if (form == 2 && !constant)
                        scale = at(src, rs.x + x, rs.y + j, src->nChannels - 1);
                    zt::setSampleAt(expected.get(), rd.x + x, rd.y + j, zt::firstChannel(dst.header()) + c,
                                    product(s, scale, M));
                }
                if (constant)
                    zt::setSampleAt(expected.get(), rd.x + x, rd.y + j, dst.content()->nChannels - 1, value);
            }
        if (form == 0)
            zanMultiplyScale(a.header(), b.header(), dst.header());
        else if (form == 1)
            zanMultiplySScale(a.header(), dst.header(), value);
        else
            zanPreMultiplyAlpha(dst.header(), value);
        ASSERT_TRUE(recorder.reports().empty()) << recorder.reports().front().context;
        ct::collect(dst);
        expectSameSamples(dst.content(), expected.get());
    }
}

TEST(AlphaComposite, InPlaceReadsEachRowBeforeItsAlphaIsWritten)
{
    std::mt19937 rng(31);
    for (int op = 0; op < 6; ++op) {
        const Shape shape{ZAN_DEPTH_8U, 4, 19, 7, ZAN_DATA_ORDER_PIXEL, 4};
        zt::Image image = zt::makeRandomImage(shape, rng);
        zt::Image other = zt::makeRandomImage(shape, rng);
        zt::Image before(zanCloneImage(image.get()));
        zanAlphaComposite(image.get(), other.get(), image.get(), op, nullptr, nullptr, nullptr, 0, 0);
        const Composite k{op, false, false, ZAN_DEPTH_8U};
        for (int y = 0; y < 7; ++y)
            for (int x = 0; x < 19; ++x) {
                const uint32_t a = at(before.get(), x, y, 3);
                const uint32_t b = at(other.get(), x, y, 3);
                for (int c = 0; c < 3; ++c)
                    ASSERT_EQ(at(image.get(), x, y, c), integerColor(k, at(before.get(), x, y, c), at(other.get(), x, y, c), a, b));
                ASSERT_EQ(at(image.get(), x, y, 3), integerAlpha(k, a, b));
            }
    }
}

TEST(AlphaComposite, EdgeCasesOfThePart)
{
    const Shape rgba{ZAN_DEPTH_8U, 4, 5, 3, ZAN_DATA_ORDER_PIXEL, 4};
    const Shape rgb{ZAN_DEPTH_8U, 3, 5, 3};
    std::mt19937 rng(37);
    // PLUS with no b source: the result alpha is M.
    zt::Image A = zt::makeRandomImage(rgba, rng);
    zt::Image B = zt::makeRandomImage(rgb, rng);
    zt::Image D = zt::makeImage(rgba);
    zanAlphaComposite(A.get(), B.get(), D.get(), ZAN_COMPOSITE_PLUS, nullptr, nullptr, nullptr, 0, 0);
    for (int x = 0; x < 5; ++x)
        EXPECT_EQ(at(D.get(), x, 1, 3), 255u);
    // An alpha image for A and none for B: B's own alpha is not used, b is M - a.
    zt::Image B4 = zt::makeRandomImage(rgba, rng);
    zt::Image alphaA = zt::makeRandomImage(Shape{ZAN_DEPTH_8U, 1, 5, 3}, rng);
    zanAlphaComposite(A.get(), B4.get(), D.get(), ZAN_COMPOSITE_ATOP, alphaA.get(), nullptr, nullptr, 0, 0);
    for (int x = 0; x < 5; ++x)
        EXPECT_EQ(at(D.get(), x, 2, 3), 255u - at(alphaA.get(), x, 2, 0));
    // divideMode 1 with a = b = 0 under OVER: C = 0 stays undivided.
    zt::Image Z = zt::makeImage(rgba, 0);
    zt::Image W = zt::makeImage(rgba, 200);
    zanAlphaCompositeC(W.get(), W.get(), D.get(), ZAN_COMPOSITE_OVER, 0, 0, 1, 1);
    EXPECT_EQ(at(D.get(), 0, 0, 0), 255u) << "premultiplied 200 + 200 undivided, saturated";
    zanAlphaCompositeC(Z.get(), Z.get(), D.get(), ZAN_COMPOSITE_OVER, 0, 0, 0, 1);
    EXPECT_EQ(at(D.get(), 0, 0, 0), 0u);
    // PLUS, premultiplied, divided: C above M is stored as M.
    zanAlphaCompositeC(W.get(), W.get(), D.get(), ZAN_COMPOSITE_PLUS, 10, 10, 1, 1);
    EXPECT_EQ(at(D.get(), 3, 2, 1), 255u);
    // A constant above M takes the alpha from the channel.
    zt::Image C1 = zt::makeImage(rgba);
    zt::Image C2 = zt::makeImage(rgba);
    zanAlphaCompositeC(A.get(), B4.get(), C1.get(), ZAN_COMPOSITE_OVER, 300, -1, 0, 0);
    zanAlphaCompositeC(A.get(), B4.get(), C2.get(), ZAN_COMPOSITE_OVER, -1, 256, 0, 0);
    EXPECT_EQ(zt::bytesOf(C1.get()), zt::bytesOf(C2.get()));
    // The alpha channel of zanAlphaCompositeC's destination is left alone.
    for (int x = 0; x < 5; ++x)
        EXPECT_EQ(at(C1.get(), x, 0, 3), 0u);
}

TEST(MultiplySScale, ClampsTheScaleAndPreMultiplySetsTheAlpha)
{
    std::mt19937 rng(41);
    const Shape rgba{ZAN_DEPTH_8U, 4, 9, 4, ZAN_DATA_ORDER_PIXEL, 4};
    zt::Image src = zt::makeRandomImage(rgba, rng);
    zt::Image dst = zt::makeImage(rgba, 77);
    zanMultiplySScale(src.get(), dst.get(), -3);
    for (int c = 0; c < 4; ++c)
        EXPECT_EQ(at(dst.get(), 2, 1, c), c < 3 ? 0u : 77u);
    zanMultiplySScale(src.get(), dst.get(), 300);
    for (int c = 0; c < 4; ++c)
        EXPECT_EQ(at(dst.get(), 5, 3, c), c < 3 ? at(src.get(), 5, 3, c) : 77u);

    zt::Image image(zanCloneImage(src.get()));
    zanPreMultiplyAlpha(image.get(), 128);
    for (int c = 0; c < 4; ++c)
        EXPECT_EQ(at(image.get(), 4, 2, c), c < 3 ? product(at(src.get(), 4, 2, c), 128, 255) : 128u);
    zt::Image own(zanCloneImage(src.get()));
    zanPreMultiplyAlpha(own.get(), -1);
    for (int c = 0; c < 4; ++c)
        EXPECT_EQ(at(own.get(), 1, 1, c), c < 3 ? product(at(src.get(), 1, 1, c), at(src.get(), 1, 1, 3), 255)
                                                : at(src.get(), 1, 1, 3));
}

TEST(AlphaOperations, RefuseBadArgumentsWithTheirTexts)
{
    zt::RecordingReporter recorder;
    const Shape rgba{ZAN_DEPTH_8U, 4, 6, 6, ZAN_DATA_ORDER_PIXEL, 4};
    zt::Image a = zt::makeImage(rgba);
    zt::Image b = zt::makeImage(rgba);
    zt::Image d = zt::makeImage(rgba);
    zt::Image rgb = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 6, 6});
    zt::Image gray = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 6, 6});
    zt::Image s16 = zt::makeImage(Shape{ZAN_DEPTH_16S, 4, 6, 6, ZAN_DATA_ORDER_PIXEL, 4});
    zt::Image a16 = zt::makeImage(Shape{ZAN_DEPTH_16U, 4, 6, 6, ZAN_DATA_ORDER_PIXEL, 4});
    zt::Image soleAlpha = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 6, 6, ZAN_DATA_ORDER_PIXEL, 1});
    zt::Image withCoi = zt::makeImage(rgba);
    zt::setRoi(withCoi.get(), 4, 0, 0, 6, 6);
    zt::Image coi2 = zt::makeImage(rgba);
    zt::setRoi(coi2.get(), 2, 0, 0, 6, 6);
    zt::Image badAlpha = zt::makeImage(rgba);
    badAlpha->alphaChannel = 2;
    struct Case {
        std::function<void()> call;
        int status;
        std::string report;
    };
    const Case cases[] = {
        {[&] { zanMultiplySScale(a.get(), nullptr, 3); }, -5, "zanMultiplySScale: dstImage==0"},
        {[&] { zanMultiplySScale(nullptr, d.get(), 3); }, -5, "zanMultiplySScale: srcImage==0"},
        {[&] { zanMultiplySScale(badAlpha.get(), d.get(), 3); }, -18, "zanMultiplySScale: Incorrect Image"},
        {[&] { zanMultiplyScale(a.get(), b.get(), badAlpha.get()); }, -18, "zanMultiplyScale: Incorrect Image"},
        {[&] { zanPreMultiplyAlpha(badAlpha.get(), 3); }, -18, "zanPreMultiplyAlpha: Incorrect Image"},
        {[&] { zanAlphaComposite(a.get(), badAlpha.get(), d.get(), 0, nullptr, nullptr, nullptr, 0, 0); }, -18,
         "zanAlphaComposite: Incorrect Image"},
        {[&] { zanAlphaCompositeC(badAlpha.get(), b.get(), d.get(), 0, 1, 1, 0, 0); }, -18,
         "zanAlphaCompositeC: Incorrect Image"},
        {[&] { zanMultiplySScale(a.get(), soleAlpha.get(), 3); }, -5, "zanMultiplySScale: dstImage->alphaChannel == 1 && dstImage->roi == 0"},
        {[&] { zanMultiplySScale(s16.get(), s16.get(), 3); }, -5, "zanMultiplySScale: dstImage->depth != 8 && dstImage->depth != 16"},
        {[&] { zanMultiplySScale(a16.get(), d.get(), 3); }, -5, "zanMultiplySScale: srcImage->depth != dstImage->depth"},
        {[&] { zanMultiplySScale(gray.get(), d.get(), 3); }, -5,
         "zanMultiplySScale: (srcImage->nChannels - (srcImage->alphaChannel != 0)) != (dstImage->nChannels - (dstImage->alphaChannel != 0))"},
        {[&] { zanMultiplySScale(a.get(), coi2.get(), 3); }, -5,
         "zanMultiplySScale: (srcImage->nChannels - (srcImage->alphaChannel != 0)) != (dstImage->roi->coi > 0)"},
        {[&] { zanMultiplyScale(a.get(), coi2.get(), d.get()); }, -5,
         "zanMultiplyScale: (dstImage->nChannels - (dstImage->alphaChannel != 0)) != (srcImageB->roi->coi > 0)"},
        {[&] { zanMultiplyScale(a.get(), nullptr, d.get()); }, -5, "zanMultiplyScale: srcImageB==0"},
        {[&] { zanPreMultiplyAlpha(nullptr, 3); }, -5, "zanPreMultiplyAlpha: image==0"},
        {[&] { zanPreMultiplyAlpha(withCoi.get(), 3); }, -5,
         "zanPreMultiplyAlpha: image->alphaChannel > 0 && image->roi->coi == image->alphaChannel"},
        {[&] { zanPreMultiplyAlpha(rgb.get(), -1); }, -5, "zanPreMultiplyAlpha: image->alphaChannel < 1"},
        {[&] { zanPreMultiplyAlpha(rgb.get(), 256); }, -5, "zanPreMultiplyAlpha: image->alphaChannel < 1"},
        {[&] { zanAlphaComposite(a.get(), b.get(), withCoi.get(), 0, nullptr, nullptr, nullptr, 0, 0); }, -5,
         "zanAlphaComposite: dstImage->alphaChannel > 0 && dstImage->roi->coi == dstImage->alphaChannel"},
        {[&] { zanAlphaComposite(a.get(), b.get(), coi2.get(), 0, nullptr, nullptr, nullptr, 0, 0); }, -5,
         "zanAlphaComposite: dstImage->roi->coi > 0 && srcImageA->roi == 0"},
        {[&] { zanAlphaComposite(coi2.get(), b.get(), d.get(), 0, nullptr, nullptr, nullptr, 0, 0); }, -5,
         "zanAlphaComposite: srcImageA->roi->coi > 0 && dstImage->roi == 0"},
        {[&] { zanAlphaComposite(a.get(), gray.get(), d.get(), 0, nullptr, nullptr, nullptr, 0, 0); }, -5,
         "zanAlphaComposite: (srcImageB->nChannels - (srcImageB->alphaChannel != 0)) != (dstImage->nChannels - (dstImage->alphaChannel != 0))"},
        {[&] { zanAlphaComposite(rgb.get(), rgb.get(), rgb.get(), 0, nullptr, nullptr, nullptr, 0, 0); }, -5,
         "zanAlphaComposite: srcImageA->alphaChannel < 1"},
        {[&] { zanAlphaComposite(a.get(), b.get(), d.get(), 0, a16.get(), nullptr, nullptr, 0, 0); }, -5,
         "zanAlphaComposite: alphaImageA->depth != dstImage->depth"},
        {[&] { zanAlphaComposite(a.get(), b.get(), d.get(), 0, nullptr, nullptr, gray.get(), 0, 0); }, -5,
         "zanAlphaComposite: alphaImageDst->alphaChannel < 1"},
        {[&] { zanAlphaComposite(a.get(), b.get(), d.get(), 6, nullptr, nullptr, nullptr, 0, 0); }, -5,
         "zanAlphaComposite: compositeType != 0 && compositeType != 1 && compositeType != 2 && compositeType != 3 && compositeType != 4 && compositeType != 5"},
        {[&] { zanAlphaComposite(a.get(), b.get(), d.get(), 0, nullptr, nullptr, nullptr, 2, 0); }, -5,
         "zanAlphaComposite: premulAlpha != 0 && premulAlpha != 1"},
        {[&] { zanAlphaCompositeC(a.get(), b.get(), d.get(), 0, 0, 0, 0, -1); }, -5,
         "zanAlphaCompositeC: divideMode != 0 && divideMode != 1"},
        {[&] { zanAlphaCompositeC(rgb.get(), rgb.get(), rgb.get(), 0, 5, -1, 0, 0); }, -5,
         "zanAlphaCompositeC: srcImageB->alphaChannel < 1"},
    };
    for (const Case& c : cases) {
        recorder.clear();
        zanSetErrStatus(0);
        c.call();
        ASSERT_EQ(recorder.summary().size(), 1u) << c.report;
        EXPECT_EQ(recorder.summary()[0], c.report);
        EXPECT_EQ(zanGetErrStatus(), c.status) << c.report;
        EXPECT_EQ(recorder.reports()[0].source, "zanalpha");
    }
}

// Tiles that a rectangle crosses are staged and written back; one the
// rectangle lies in is opened once per rectangle.
TEST(AlphaComposite, TileStageOpensAndReleasesEveryTileItUses)
{
    std::mt19937 rng(43);
    const Shape shape{ZAN_DEPTH_8U, 4, 37, 29, ZAN_DATA_ORDER_PIXEL, 4};
    zt::TiledImage dst(shape, 16, 8);
    zt::TiledImage src(shape, 8, 16);
    zt::fillRandom(src.plain(), rng);
    src.load();
    zt::Image other = zt::makeRandomImage(shape, rng);
    zt::setRoi(dst.header(), 0, 3, 5, 30, 20);
    zanAlphaCompositeC(src.header(), other.get(), dst.header(), ZAN_COMPOSITE_IN, 200, -1, 0, 0);
    EXPECT_EQ(dst.openCount(), dst.releaseCount());
    EXPECT_EQ(src.openCount(), src.releaseCount());
    EXPECT_FALSE(dst.misuse || src.misuse);
    dst.store();
    const Composite k{ZAN_COMPOSITE_IN, false, false, ZAN_DEPTH_8U};
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 30; ++x)
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(at(dst.plain(), 3 + x, 5 + y, c),
                          integerColor(k, at(src.plain(), x, y, c), at(other.get(), x, y, c), 200, at(other.get(), x, y, 3)));
    // A callback that gives no data ends the walk with -2.
    zt::RecordingReporter recorder;
    dst.failOpenAt = dst.openCount() + 2;
    zanAlphaCompositeC(src.header(), other.get(), dst.header(), ZAN_COMPOSITE_IN, 200, -1, 0, 0);
    ASSERT_EQ(recorder.summary().size(), 1u);
    EXPECT_EQ(recorder.summary()[0], "zanAlphaCompositeC: ERROR in Tiling callBack");
    EXPECT_EQ(zanGetErrStatus(), -2);
    // The tile that was not given is not released.
    EXPECT_EQ(dst.openCount(), dst.releaseCount() + 1);
    EXPECT_FALSE(dst.misuse);
}

} // namespace
