// Wavelet kernel records: the built-in kernels checked against the rules
// that bind their filters, user kernels and their refusals.
#include "zan.h"
#include "zan_test.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace {

struct Selector {
    int type;
    int par1;
    int par2;
};

// Every row of the built-in table, with its expected (length of decLow,
// length of recLow).
struct BuiltIn {
    Selector sel;
    int lowLength;
    int recLength;
};

std::vector<BuiltIn> allBuiltIns()
{
    std::vector<BuiltIn> rows = {{{0, 0, 0}, 2, 2}, {{4, 0, 0}, 24, 24},
                                 {{7, 0, 0}, 3, 5}, {{8, 0, 0}, 4, 8}};
    for (int p = 1; p <= 10; ++p)
        rows.push_back({{1, p, 0}, 2 * p, 2 * p});
    for (int p = 1; p <= 7; ++p)
        rows.push_back({{2, p, 0}, 2 * (p + 3), 2 * (p + 3)});
    for (int p = 1; p <= 5; ++p)
        rows.push_back({{3, p, 0}, 6 * p, 6 * p});
    const std::vector<std::vector<int>> par2s = {{1, 3, 5}, {2, 4, 6, 8}, {1, 3, 5, 7, 9}};
    for (int p1 = 1; p1 <= 3; ++p1)
        for (int p2 : par2s[p1 - 1]) {
            const int low = p1 + 1, rec = 2 * p2 + p1 - 1;
            rows.push_back({{5, p1, p2}, low, rec});
            rows.push_back({{6, p1, p2}, rec, low});
        }
    return rows;
}

double sum(const ZanWtFilter& f)
{
    double s = 0;
    for (int k = 0; k < f.length; ++k)
        s += f.taps[k];
    return s;
}

double sign(int k) { return k % 2 ? -1.0 : 1.0; }

TEST(WtInit, FiftyBuiltInsKeepTheirNormalisationAndFilterRules)
{
    const std::vector<BuiltIn> rows = allBuiltIns();
    ASSERT_EQ(rows.size(), 50u);
    for (const BuiltIn& b : rows) {
        SCOPED_TRACE(std::to_string(b.sel.type) + "," + std::to_string(b.sel.par1) + "," +
                     std::to_string(b.sel.par2));
        ZanWtKernel k{};
        ASSERT_EQ(zanWtInit(b.sel.type, b.sel.par1, b.sel.par2, &k), ZAN_STATUS_OK);
        EXPECT_EQ(k.wtType, b.sel.type);
        EXPECT_EQ(k.wtClass, b.sel.type < 5 ? 0 : 1);
        EXPECT_EQ(k.filtDecLow.length, b.lowLength);
        EXPECT_EQ(k.filtRecHigh.length, b.lowLength);
        EXPECT_EQ(k.filtRecLow.length, b.recLength);
        EXPECT_EQ(k.filtDecHigh.length, b.recLength);
        EXPECT_NEAR(sum(k.filtDecLow), 1.0, 1e-6);
        EXPECT_NEAR(sum(k.filtRecLow), 2.0, 1e-6);
        // Vaidyanathan's filter is optimised, not built with a zero at the
        // half sampling rate: its high-pass taps miss 0 by about 1e-4.
        const double highTolerance = b.sel.type == 4 ? 2e-4 : 1e-6;
        EXPECT_NEAR(sum(k.filtDecHigh), 0.0, highTolerance);
        EXPECT_NEAR(sum(k.filtRecHigh), 0.0, highTolerance);
        const double s = (b.sel.type == 5 || b.sel.type == 6) && b.sel.par1 == 1 ? -1.0 : 1.0;
        for (int i = 0; i < k.filtRecLow.length; ++i)
            EXPECT_NEAR(k.filtDecHigh.taps[i], s * sign(i) * k.filtRecLow.taps[i] / 2, 1e-7);
        for (int i = 0; i < k.filtDecLow.length; ++i)
            EXPECT_NEAR(k.filtRecHigh.taps[i], -s * sign(i) * 2 * k.filtDecLow.taps[i], 1e-7);
        if (b.sel.type < 5) {
            for (int i = 0; i < k.filtDecLow.length; ++i)
                EXPECT_NEAR(k.filtRecLow.taps[i], 2 * k.filtDecLow.taps[b.lowLength - 1 - i], 1e-7);
        }
        const ZanWtFilter* filters[4] = {&k.filtDecLow, &k.filtDecHigh, &k.filtRecLow,
                                         &k.filtRecHigh};
        for (const ZanWtFilter* f : filters) {
            EXPECT_GE(f->offset, 0);
            EXPECT_LT(f->offset, f->length);
        }
    }
}

// Orthogonal analysis filters are orthogonal to their own even shifts, with
// energy 1/2 at this normalisation.
TEST(WtInit, OrthogonalFiltersAreOrthogonalToTheirEvenShifts)
{
    for (const BuiltIn& b : allBuiltIns()) {
        if (b.sel.type >= 5)
            continue;
        ZanWtKernel k{};
        ASSERT_EQ(zanWtInit(b.sel.type, b.sel.par1, b.sel.par2, &k), ZAN_STATUS_OK);
        const float* h = k.filtDecLow.taps;
        for (int shift = 0; shift < b.lowLength; shift += 2) {
            double dot = 0;
            for (int i = 0; i + shift < b.lowLength; ++i)
                dot += double(h[i]) * h[i + shift];
            EXPECT_NEAR(dot, shift == 0 ? 0.5 : 0.0, 2e-6)
                << b.sel.type << "," << b.sel.par1 << " shift " << shift;
        }
    }
}

TEST(WtInit, OffsetsAndSymmetriesOfSampleRows)
{
    struct Case {
        Selector sel;
        int offsets[4];
        int symmetry[4];
        int storedPar1, storedPar2;
    };
    const Case cases[] = {
        {{0, 7, -3}, {1, 1, 0, 0}, {0, 1, 0, 1}, 0, 0},
        {{1, 1, 9}, {1, 1, 0, 0}, {0, 1, 0, 1}, 1, 0},
        {{1, 5, 0}, {2, 8, 7, 1}, {2, 2, 2, 2}, 5, 0},
        {{2, 4, 0}, {8, 6, 5, 7}, {2, 2, 2, 2}, 4, 0},
        {{3, 1, 0}, {4, 2, 1, 3}, {2, 2, 2, 2}, 1, 0},
        {{4, 3, 3}, {20, 2, 3, 21}, {2, 2, 2, 2}, 0, 0},
        {{5, 1, 3}, {0, 2, 3, 1}, {0, 1, 0, 1}, 1, 3},
        {{5, 2, 4}, {1, 3, 4, 2}, {0, 0, 0, 0}, 2, 4},
        {{5, 3, 7}, {1, 7, 8, 2}, {0, 1, 0, 1}, 3, 7},
        {{6, 3, 7}, {7, 1, 2, 8}, {0, 1, 0, 1}, 3, 7},
        {{7, 5, 5}, {1, 1, 2, 2}, {0, 0, 0, 0}, 0, 0},
        {{8, 1, 1}, {1, 3, 4, 2}, {0, 1, 0, 1}, 0, 0},
    };
    for (const Case& c : cases) {
        ZanWtKernel k{};
        ASSERT_EQ(zanWtInit(c.sel.type, c.sel.par1, c.sel.par2, &k), ZAN_STATUS_OK);
        const ZanWtFilter* f[4] = {&k.filtDecLow, &k.filtDecHigh, &k.filtRecLow, &k.filtRecHigh};
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(f[i]->offset, c.offsets[i]) << c.sel.type << " filter " << i;
            EXPECT_EQ(f[i]->symmetry, c.symmetry[i]) << c.sel.type << " filter " << i;
        }
        EXPECT_EQ(k.par1, c.storedPar1);
        EXPECT_EQ(k.par2, c.storedPar2);
    }
}

TEST(WtInit, RefusalsLeaveTheRecordUnchanged)
{
    struct Case {
        Selector sel;
        int status;
        const char* text;
    };
    const Case cases[] = {
        {{9, 0, 0}, ZAN_STATUS_BAD_ARGUMENT, "Bad wtType value."},
        {{-1, 0, 0}, ZAN_STATUS_BAD_ARGUMENT, "Bad wtType value."},
        {{1, 0, 0}, ZAN_STATUS_BAD_ARGUMENT, "Bad par1   value."},
        {{1, 11, 0}, ZAN_STATUS_BAD_ARGUMENT, "Bad par1   value."},
        {{2, 8, 0}, ZAN_STATUS_BAD_ARGUMENT, "Bad par1   value."},
        {{3, 6, 0}, ZAN_STATUS_BAD_ARGUMENT, "Bad par1   value."},
        {{5, 4, 1}, ZAN_STATUS_BAD_ARGUMENT, "Bad par1   value."},
        {{5, 1, 2}, ZAN_STATUS_BAD_ARGUMENT, "Bad par2   value."},
        {{6, 2, 3}, ZAN_STATUS_BAD_ARGUMENT, "Bad par2   value."},
        {{6, 3, 11}, ZAN_STATUS_BAD_ARGUMENT, "Bad par2   value."},
    };
    for (const Case& c : cases) {
        zt::RecordingReporter reporter;
        ZanWtKernel k{};
        k.wtType = 77;
        EXPECT_EQ(zanWtInit(c.sel.type, c.sel.par1, c.sel.par2, &k), c.status);
        ASSERT_EQ(reporter.reports().size(), 1u);
        EXPECT_EQ(reporter.reports()[0].context, c.text);
        EXPECT_EQ(reporter.reports()[0].function, "zanWtInit");
        EXPECT_EQ(reporter.reports()[0].source, "zanwtifx");
        EXPECT_EQ(k.wtType, 77);
        EXPECT_EQ(k.filtDecLow.taps, nullptr);
    }
    zt::RecordingReporter reporter;
    EXPECT_EQ(zanWtInit(0, 0, 0, nullptr), ZAN_STATUS_NULL_POINTER);
    EXPECT_EQ(reporter.reports().at(0).context, "Null pointer by wtKernel was passed.");
}

// Four user filters of different lengths with random taps.
struct UserSet {
    std::vector<float> taps[4];
    int32_t length[4] = {2, 5, 3, 7};
    int32_t offset[4] = {1, 0, 2, 6};
    UserSet()
    {
        std::mt19937 rng(5);
        for (int f = 0; f < 4; ++f)
            for (int i = 0; i < length[f]; ++i)
                taps[f].push_back(float(int(rng() % 2001) - 1000) / 256.0f);
    }
    ZanWtFilter filter(int f) { return {taps[f].data(), length[f], offset[f], 0}; }
};

void expectUserKernel(const ZanWtKernel& k, const UserSet& u)
{
    EXPECT_EQ(k.wtType, ZAN_WAVELET_USER);
    EXPECT_EQ(k.par1, 0);
    EXPECT_EQ(k.par2, 0);
    EXPECT_EQ(k.wtClass, 3);
    const ZanWtFilter* f[4] = {&k.filtDecLow, &k.filtDecHigh, &k.filtRecLow, &k.filtRecHigh};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(f[i]->length, u.length[i]);
        EXPECT_EQ(f[i]->offset, u.offset[i]);
        EXPECT_EQ(f[i]->symmetry, 3);
        EXPECT_NE(f[i]->taps, u.taps[i].data());
        EXPECT_EQ(std::vector<float>(f[i]->taps, f[i]->taps + f[i]->length), u.taps[i]);
    }
}

TEST(WtUser, ThreeWaysMakeTheSameOwnedKernel)
{
    UserSet u;
    ZanWtFilter filters[4] = {u.filter(0), u.filter(1), u.filter(2), u.filter(3)};
    const float* taps[4] = {u.taps[0].data(), u.taps[1].data(), u.taps[2].data(), u.taps[3].data()};
    ZanWtKernel a{}, b{}, c{};
    ASSERT_EQ(zanWtInitUserFilter(&filters[0], &filters[1], &filters[2], &filters[3], &a), 0);
    ASSERT_EQ(zanWtInitUserFilter4(filters, &b), 0);
    ASSERT_EQ(zanWtInitUserTaps(taps, u.length, u.offset, &c), 0);
    for (ZanWtKernel* k : {&a, &b, &c}) {
        expectUserKernel(*k, u);
        EXPECT_EQ(zanWtFree(k), ZAN_STATUS_OK);
        EXPECT_EQ(k->wtType, 0);
        EXPECT_EQ(k->filtDecLow.taps, nullptr);
        EXPECT_EQ(k->filtRecHigh.taps, nullptr);
    }
    ZanWtKernel builtIn{};
    ASSERT_EQ(zanWtInit(1, 3, 0, &builtIn), 0);
    EXPECT_EQ(zanWtFree(&builtIn), ZAN_STATUS_OK);
    EXPECT_EQ(builtIn.filtDecLow.taps, nullptr);
    ZanWtKernel again{};
    ASSERT_EQ(zanWtInit(1, 3, 0, &again), 0);
    EXPECT_NEAR(sum(again.filtDecLow), 1.0, 1e-6);
}

struct Refusal {
    int status;
    std::string text;
};

// Bad variants of a good UserSet: which filter, which field, and the
// refusal that each of the three functions gives for it.
TEST(WtUser, FilterChecksRunInOrderWithTheirTexts)
{
    struct Case {
        int filter;
        int field; // 0 taps null, 1 length 1, 2 offset = length, 3 offset -1
        Refusal byFilter, byFilter4, byTaps;
    };
    const Case cases[] = {
        {0, 0, {-29, "Error (*decLow).taps == NULL."}, {-29, "Error filt[0].taps == NULL."},
         {-27, "Null pointer by tap_filt[0] was passed."}},
        {1, 1, {-29, "Error (*decHigh).length < 2."}, {-29, "Error filt[1].length < 2."},
         {-28, "Error len_filt[1] < 2."}},
        {2, 2, {-29, "Error (*recLow).offset >= (*recLow).length."},
         {-29, "Error filt[2].offset >= filt[2].length."},
         {-31, "Error ofs_filt[2] >= len_filt[2]."}},
        {3, 3, {-29, "Error (*recHigh).offset < 0."}, {-29, "Error filt[3].offset < 0."},
         {-31, "Error ofs_filt[3] < 0."}},
    };
    for (const Case& c : cases) {
        UserSet u;
        ZanWtFilter filters[4] = {u.filter(0), u.filter(1), u.filter(2), u.filter(3)};
        const float* taps[4] = {u.taps[0].data(), u.taps[1].data(), u.taps[2].data(),
                                u.taps[3].data()};
        ZanWtFilter& f = filters[c.filter];
        if (c.field == 0)
            f.taps = nullptr, taps[c.filter] = nullptr;
        if (c.field == 1)
            f.length = 1, u.length[c.filter] = 1, f.offset = 0, u.offset[c.filter] = 0;
        if (c.field == 2)
            f.offset = f.length, u.offset[c.filter] = u.length[c.filter];
        if (c.field == 3)
            f.offset = -1, u.offset[c.filter] = -1;
        ZanWtKernel k{};
        zt::RecordingReporter reporter;
        EXPECT_EQ(zanWtInitUserFilter(&filters[0], &filters[1], &filters[2], &filters[3], &k),
                  c.byFilter.status);
        EXPECT_EQ(zanWtInitUserFilter4(filters, &k), c.byFilter4.status);
        EXPECT_EQ(zanWtInitUserTaps(taps, u.length, u.offset, &k), c.byTaps.status);
        ASSERT_EQ(reporter.reports().size(), 3u);
        EXPECT_EQ(reporter.reports()[0].context, c.byFilter.text);
        EXPECT_EQ(reporter.reports()[1].context, c.byFilter4.text);
        EXPECT_EQ(reporter.reports()[2].context, c.byTaps.text);
        EXPECT_EQ(reporter.reports()[2].source, "zanwt");
    }
}

// The taps groups run over all four filters before the next group: a short
// length in filter 3 is found before a bad offset in filter 0.
TEST(WtUser, TapsChecksGoByGroup)
{
    UserSet u;
    const float* taps[4] = {u.taps[0].data(), u.taps[1].data(), u.taps[2].data(), u.taps[3].data()};
    u.length[3] = 0;
    u.offset[0] = -1;
    ZanWtKernel k{};
    zt::RecordingReporter reporter;
    EXPECT_EQ(zanWtInitUserTaps(taps, u.length, u.offset, &k), ZAN_STATUS_VECTOR_LENGTH);
    const ZanWtFilter good = u.filter(0);
    EXPECT_EQ(zanWtInitUserFilter(&good, nullptr, &good, &good, &k), ZAN_STATUS_NULL_POINTER);
    EXPECT_EQ(zanWtInitUserFilter4(nullptr, &k), ZAN_STATUS_NULL_POINTER);
    EXPECT_EQ(zanWtInitUserTaps(taps, nullptr, u.offset, &k), ZAN_STATUS_NULL_POINTER);
    EXPECT_EQ(zanWtFree(nullptr), ZAN_STATUS_NULL_POINTER);
    EXPECT_EQ(reporter.summary(),
              (std::vector<std::string>{"zanWtInitUserTaps: Error len_filt[3] < 2.",
                                        "zanWtInitUserFilter: Null pointer by decHigh was passed.",
                                        "zanWtInitUserFilter4: Null pointer by filt was passed.",
                                        "zanWtInitUserTaps: Null pointer by len_filt was passed.",
                                        "zanWtFree: Null pointer by wtKernel was passed."}));
}

} // namespace
