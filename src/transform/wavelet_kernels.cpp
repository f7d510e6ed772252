// Wavelet kernels: the table of built-in kernels, kernels made from the
// application's taps, and their release.
#include "core/own_core.h"
#include "own_wavelet.h"

#include <array>
#include <cstdio>
#include <cstring>

namespace {

const OwnSite kInitSite = {"zanWtInit", "zanwtifx"};

// Low-pass taps as stored: the orthogonal analysis filters, and for the
// spline kernels the analysis filter with its synthesis partner.
constexpr float kHaar[] = {
    0.5f, 0.5f};
constexpr float kDaubechies2[] = {
    0.341506362f, 0.591506362f, 0.158493653f, -0.0915063545f};
constexpr float kDaubechies3[] = {
    0.235233605f, 0.570558429f, 0.325182498f, -0.0954672098f, -0.0604161024f,
    0.0249087494f};
constexpr float kDaubechies4[] = {
    0.162901714f, 0.505472839f, 0.446100056f, -0.0197875127f, -0.132253587f, 0.0218081493f,
    0.0232517999f, -0.00749349454f};
constexpr float kDaubechies5[] = {
    0.113209493f, 0.426971763f, 0.51216346f, 0.0978834778f, -0.171328351f, -0.0228005666f,
    0.0548513308f, -0.00441339985f, -0.00889593549f, 0.00235871389f};
constexpr float kDaubechies6[] = {
    0.0788712129f, 0.34975192f, 0.531131864f, 0.222915664f, -0.159993306f, -0.0917590335f,
    0.0689440444f, 0.0194616057f, -0.0223318748f, 0.000391625566f, 0.00337803108f,
    -0.000761766918f};
constexpr float kDaubechies7[] = {
    0.0550497137f, 0.280395657f, 0.515574217f, 0.332186252f, -0.101756908f, -0.158417508f,
    0.050423231f, 0.0570017211f, -0.0268912259f, -0.011719971f, 0.00887489598f,
    0.000303757493f, -0.00127395231f, 0.00025011343f};
constexpr float kDaubechies8[] = {
    0.038477812f, 0.221233621f, 0.477743089f, 0.413908273f, -0.0111928675f, -0.200829312f,
    0.000334097043f, 0.0910381749f, -0.0122819506f, -0.031175103f, 0.00988607947f,
    0.00618442241f, -0.00344385952f, -0.000277002284f, 0.000477614842f, -8.30686331e-05f};
constexpr float kDaubechies9[] = {
    0.0269251745f, 0.172417149f, 0.427674532f, 0.46477285f, 0.0941847712f, -0.207375884f,
    -0.0684767738f, 0.105034173f, 0.0217263382f, -0.0478236303f, 0.000177446404f,
    0.0158120822f, -0.00333981006f, -0.00302748033f, 0.00130648364f, 0.000162907338f,
    -0.000178164875f, 2.78227562e-05f};
constexpr float kDaubechies10[] = {
    0.0188585781f, 0.133061096f, 0.372787535f, 0.486814052f, 0.198818877f, -0.176668108f,
    -0.138554946f, 0.0900637209f, 0.0658014938f, -0.0504832864f, -0.0208296236f,
    0.0234849062f, 0.00255021849f, -0.00758950133f, 0.000986662693f, 0.00140884332f,
    -0.00048497392f, -8.23545051e-05f, 6.61771846e-05f, -9.37920777e-06f};
constexpr float kSymlet1[] = {
    -0.0535744503f, -0.0209554825f, 0.351869524f, 0.568329096f, 0.210617274f,
    -0.0701588094f, -0.00891235098f, 0.0227851737f};
constexpr float kSymlet2[] = {
    0.0193273984f, 0.020873433f, -0.0276720934f, 0.140995353f, 0.511526465f, 0.448290825f,
    0.0117394617f, -0.123975679f, -0.0149212498f, 0.0138160763f};
constexpr float kSymlet3[] = {
    0.0108923502f, 0.00246830611f, -0.083431609f, -0.0341615602f, 0.347228974f,
    0.556946397f, 0.23895219f, -0.0513624847f, -0.0148918759f, 0.031625282f,
    0.00124996109f, -0.00551593397f};
constexpr float kSymlet4[] = {
    0.00189632922f, -0.000740612973f, -0.00893521588f, 0.021577727f, 0.0480073839f,
    -0.0350391455f, 0.0123328296f, 0.379081309f, 0.542891383f, 0.204091966f,
    -0.0990283564f, -0.0762319341f, 0.00283567142f, 0.00726069743f};
constexpr float kSymlet5[] = {
    0.00133639667f, -0.000214197149f, -0.0105728433f, 0.00269319443f, 0.0347452313f,
    -0.0192467608f, -0.0367312543f, 0.257699341f, 0.549553335f, 0.340372682f,
    -0.0433268063f, -0.101324327f, 0.00537930569f, 0.0224118121f, -0.000383345439f,
    -0.00239172927f};
constexpr float kSymlet6[] = {
    0.000756243651f, -0.000334570766f, -0.00725778937f, 0.00626444817f, 0.0438956246f,
    -0.0128932232f, -0.135446891f, 0.0249414146f, 0.436524212f, 0.507629871f, 0.168829456f,
    -0.0385860801f, 0.000412570458f, 0.0213722177f, -0.00815167557f, -0.00938469823f,
    0.000438251271f, 0.000990596833f};
constexpr float kSymlet7[] = {
    0.000544585229f, 6.762251e-05f, -0.00611032126f, -0.00103618193f, 0.032475464f,
    0.00820943434f, -0.112779483f, -0.0501201078f, 0.333535671f, 0.544125736f,
    0.271406502f, -0.0251282696f, -0.0226203855f, 0.035351783f, 0.00407640822f,
    -0.0143931163f, -0.00056876766f, 0.00324786408f, 4.03306003e-05f, -0.000324794935f};
constexpr float kCoiflet1[] = {
    0.0272807293f, -0.089780733f, -0.0545614585f, 0.429561466f, 0.527280748f, 0.160219267f};
constexpr float kCoiflet2[] = {
    0.0115875965f, -0.0293201376f, -0.0476395898f, 0.273021042f, 0.574682415f,
    0.294867188f, -0.0540856086f, -0.0420264788f, 0.0167444106f, 0.00396788353f,
    -0.00128920341f, -0.000509505393f};
constexpr float kCoiflet3[] = {
    -0.00268241856f, 0.00550312689f, 0.01658356f, -0.0465077646f, -0.0432207622f,
    0.286503345f, 0.561285257f, 0.302983582f, -0.0507701412f, -0.0581962503f,
    0.0244340934f, 0.0112292413f, -0.006369601f, -0.00182045891f, 0.000790205086f,
    0.00032966517f, -5.01927752e-05f, -2.44657349e-05f};
constexpr float kCoiflet4[] = {
    0.000630961033f, -0.00115222484f, -0.00519452384f, 0.0113624595f, 0.0188672356f,
    -0.0574642345f, -0.0396526493f, 0.293667406f, 0.553126454f, 0.307157338f,
    -0.0471127406f, -0.0680381283f, 0.0278136395f, 0.017735837f, -0.0107563185f,
    -0.004001013f, 0.00265266607f, 0.000895594538f, -0.000416500581f, -0.000183829776f,
    4.40803524e-05f, 2.2082857e-05f, -2.3049422e-06f, -1.26217469e-06f};
constexpr float kCoiflet5[] = {
    -0.000149963817f, 0.000253561186f, 0.0015402456f, -0.00294111087f, -0.00716378214f,
    0.0165520664f, 0.0199178047f, -0.0649972633f, -0.0368000753f, 0.298092335f,
    0.547505438f, 0.309706837f, -0.0438660495f, -0.0746522397f, 0.0291958787f,
    0.0231107771f, -0.0139736878f, -0.00648008985f, 0.00478300126f, 0.00172065466f,
    -0.00117582222f, -0.000451226981f, 0.000213729756f, 9.93775975e-05f, -2.92321365e-05f,
    -1.50719907e-05f, 2.64075879e-06f, 1.45933154e-06f, -1.18375539e-07f, -6.72868055e-08f};
constexpr float kVaidyanathan[] = {
    -4.44813413e-05f, 0.000242984446f, -0.000320995809f, -0.000668143155f, 0.00201089471f,
    0.000500728842f, -0.00625019008f, 0.00223010662f, 0.0139209637f, -0.0105029736f,
    -0.0250813589f, 0.0273951683f, 0.039521981f, -0.0549490936f, -0.0593466833f,
    0.09331806f, 0.0955189764f, -0.137497246f, -0.186318964f, 0.142561331f, 0.449437827f,
    0.405029207f, 0.176906899f, 0.0323850214f};
constexpr float kSpline11Low[] = {0.5f, 0.5f};
constexpr float kSpline11Rec[] = {
    1.0f, 1.0f};
constexpr float kSpline13Low[] = {0.5f, 0.5f};
constexpr float kSpline13Rec[] = {
    -0.125f, 0.125f, 1.0f, 1.0f, 0.125f, -0.125f};
constexpr float kSpline15Low[] = {0.5f, 0.5f};
constexpr float kSpline15Rec[] = {
    0.0234375f, -0.0234375f, -0.171875f, 0.171875f, 1.0f, 1.0f, 0.171875f, -0.171875f,
    -0.0234375f, 0.0234375f};
constexpr float kSpline22Low[] = {0.25f, 0.5f, 0.25f};
constexpr float kSpline22Rec[] = {
    -0.25f, 0.5f, 1.5f, 0.5f, -0.25f};
constexpr float kSpline24Low[] = {0.25f, 0.5f, 0.25f};
constexpr float kSpline24Rec[] = {
    0.046875f, -0.09375f, -0.25f, 0.59375f, 1.40625f, 0.59375f, -0.25f, -0.09375f,
    0.046875f};
constexpr float kSpline26Low[] = {0.25f, 0.5f, 0.25f};
constexpr float kSpline26Rec[] = {
    -0.009765625f, 0.01953125f, 0.06640625f, -0.15234375f, -0.240234375f, 0.6328125f,
    1.3671875f, 0.6328125f, -0.240234375f, -0.15234375f, 0.06640625f, 0.01953125f,
    -0.009765625f};
constexpr float kSpline28Low[] = {0.25f, 0.5f, 0.25f};
constexpr float kSpline28Rec[] = {
    0.00213623047f, -0.00427246094f, -0.0183105469f, 0.0408935547f, 0.0749511719f,
    -0.190795898f, -0.231689453f, 0.654174805f, 1.3458252f, 0.654174805f, -0.231689453f,
    -0.190795898f, 0.0749511719f, 0.0408935547f, -0.0183105469f, -0.00427246094f,
    0.00213623047f};
constexpr float kSpline31Low[] = {0.125f, 0.375f, 0.375f, 0.125f};
constexpr float kSpline31Rec[] = {
    -0.5f, 1.5f, 1.5f, -0.5f};
constexpr float kSpline33Low[] = {0.125f, 0.375f, 0.375f, 0.125f};
constexpr float kSpline33Rec[] = {
    0.09375f, -0.28125f, -0.21875f, 1.40625f, 1.40625f, -0.21875f, -0.28125f, 0.09375f};
constexpr float kSpline35Low[] = {0.125f, 0.375f, 0.375f, 0.125f};
constexpr float kSpline35Rec[] = {
    -0.01953125f, 0.05859375f, 0.07421875f, -0.37890625f, -0.1015625f, 1.3671875f,
    1.3671875f, -0.1015625f, -0.37890625f, 0.07421875f, 0.05859375f, -0.01953125f};
constexpr float kSpline37Low[] = {0.125f, 0.375f, 0.375f, 0.125f};
constexpr float kSpline37Rec[] = {
    0.00427246094f, -0.0128173828f, -0.0238037109f, 0.10559082f, 0.0443115234f,
    -0.42590332f, -0.0374755859f, 1.3458252f, 1.3458252f, -0.0374755859f, -0.42590332f,
    0.0443115234f, 0.10559082f, -0.0238037109f, -0.0128173828f, 0.00427246094f};
constexpr float kSpline39Low[] = {0.125f, 0.375f, 0.375f, 0.125f};
constexpr float kSpline39Rec[] = {
    -0.000961303711f, 0.00288391113f, 0.00715637207f, -0.0291595459f, -0.0199584961f,
    0.140197754f, 0.0173950195f, -0.452819824f, 0.00289916992f, 1.33236694f, 1.33236694f,
    0.00289916992f, -0.452819824f, 0.0173950195f, 0.140197754f, -0.0199584961f,
    -0.0291595459f, 0.00715637207f, 0.00288391113f, -0.000961303711f};

// The four filters of a kernel. The high-pass filters follow from the
// low-pass ones: decHigh[k] = s (-1)^k recLow[k] / 2 and
// recHigh[k] = -s (-1)^k 2 decLow[k].
template <std::size_t L, std::size_t R>
struct WtTaps {
    std::array<float, L> decLow{};
    std::array<float, R> decHigh{};
    std::array<float, R> recLow{};
    std::array<float, L> recHigh{};
};

constexpr float alternate(std::size_t k) { return k % 2 == 0 ? 1.0f : -1.0f; }

template <std::size_t L, std::size_t R>
constexpr WtTaps<L, R> fromLowPass(const std::array<float, L>& decLow,
                                   const std::array<float, R>& recLow, float s)
{
    WtTaps<L, R> t;
    for (std::size_t k = 0; k < L; ++k) {
        t.decLow[k] = decLow[k];
        t.recHigh[k] = -s * alternate(k) * 2.0f * decLow[k];
    }
    for (std::size_t k = 0; k < R; ++k) {
        t.recLow[k] = recLow[k];
        t.decHigh[k] = s * alternate(k) * recLow[k] / 2.0f;
    }
    return t;
}

// Orthogonal kernels synthesise with the reversed analysis filter.
template <std::size_t L>
constexpr WtTaps<L, L> orthogonal(const float (&decLow)[L])
{
    std::array<float, L> recLow{};
    for (std::size_t k = 0; k < L; ++k)
        recLow[k] = 2.0f * decLow[L - 1 - k];
    return fromLowPass(std::to_array(decLow), recLow, 1.0f);
}

template <std::size_t L, std::size_t R>
constexpr WtTaps<L, R> spline(const float (&decLow)[L], const float (&recLow)[R], float s)
{
    return fromLowPass(std::to_array(decLow), std::to_array(recLow), s);
}

// The dual spline kernel exchanges the roles of analysis and synthesis.
template <std::size_t L, std::size_t R>
constexpr WtTaps<R, L> splineDual(const float (&decLow)[L], const float (&recLow)[R], float s)
{
    std::array<float, R> dual{};
    std::array<float, L> dualRec{};
    for (std::size_t k = 0; k < R; ++k)
        dual[k] = recLow[k] / 2.0f;
    for (std::size_t k = 0; k < L; ++k)
        dualRec[k] = 2.0f * decLow[k];
    return fromLowPass(dual, dualRec, s);
}

constexpr auto kHaarSet = orthogonal(kHaar);
constexpr auto kDaubechies2Set = orthogonal(kDaubechies2);
constexpr auto kDaubechies3Set = orthogonal(kDaubechies3);
constexpr auto kDaubechies4Set = orthogonal(kDaubechies4);
constexpr auto kDaubechies5Set = orthogonal(kDaubechies5);
constexpr auto kDaubechies6Set = orthogonal(kDaubechies6);
constexpr auto kDaubechies7Set = orthogonal(kDaubechies7);
constexpr auto kDaubechies8Set = orthogonal(kDaubechies8);
constexpr auto kDaubechies9Set = orthogonal(kDaubechies9);
constexpr auto kDaubechies10Set = orthogonal(kDaubechies10);
constexpr auto kSymlet1Set = orthogonal(kSymlet1);
constexpr auto kSymlet2Set = orthogonal(kSymlet2);
constexpr auto kSymlet3Set = orthogonal(kSymlet3);
constexpr auto kSymlet4Set = orthogonal(kSymlet4);
constexpr auto kSymlet5Set = orthogonal(kSymlet5);
constexpr auto kSymlet6Set = orthogonal(kSymlet6);
constexpr auto kSymlet7Set = orthogonal(kSymlet7);
constexpr auto kCoiflet1Set = orthogonal(kCoiflet1);
constexpr auto kCoiflet2Set = orthogonal(kCoiflet2);
constexpr auto kCoiflet3Set = orthogonal(kCoiflet3);
constexpr auto kCoiflet4Set = orthogonal(kCoiflet4);
constexpr auto kCoiflet5Set = orthogonal(kCoiflet5);
constexpr auto kVaidyanathanSet = orthogonal(kVaidyanathan);
constexpr auto kSpline11Set = spline(kSpline11Low, kSpline11Rec, -1.0f);
constexpr auto kSpline11DualSet = splineDual(kSpline11Low, kSpline11Rec, -1.0f);
constexpr auto kSpline13Set = spline(kSpline13Low, kSpline13Rec, -1.0f);
constexpr auto kSpline13DualSet = splineDual(kSpline13Low, kSpline13Rec, -1.0f);
constexpr auto kSpline15Set = spline(kSpline15Low, kSpline15Rec, -1.0f);
constexpr auto kSpline15DualSet = splineDual(kSpline15Low, kSpline15Rec, -1.0f);
constexpr auto kSpline22Set = spline(kSpline22Low, kSpline22Rec, 1.0f);
constexpr auto kSpline22DualSet = splineDual(kSpline22Low, kSpline22Rec, 1.0f);
constexpr auto kSpline24Set = spline(kSpline24Low, kSpline24Rec, 1.0f);
constexpr auto kSpline24DualSet = splineDual(kSpline24Low, kSpline24Rec, 1.0f);
constexpr auto kSpline26Set = spline(kSpline26Low, kSpline26Rec, 1.0f);
constexpr auto kSpline26DualSet = splineDual(kSpline26Low, kSpline26Rec, 1.0f);
constexpr auto kSpline28Set = spline(kSpline28Low, kSpline28Rec, 1.0f);
constexpr auto kSpline28DualSet = splineDual(kSpline28Low, kSpline28Rec, 1.0f);
constexpr auto kSpline31Set = spline(kSpline31Low, kSpline31Rec, 1.0f);
constexpr auto kSpline31DualSet = splineDual(kSpline31Low, kSpline31Rec, 1.0f);
constexpr auto kSpline33Set = spline(kSpline33Low, kSpline33Rec, 1.0f);
constexpr auto kSpline33DualSet = splineDual(kSpline33Low, kSpline33Rec, 1.0f);
constexpr auto kSpline35Set = spline(kSpline35Low, kSpline35Rec, 1.0f);
constexpr auto kSpline35DualSet = splineDual(kSpline35Low, kSpline35Rec, 1.0f);
constexpr auto kSpline37Set = spline(kSpline37Low, kSpline37Rec, 1.0f);
constexpr auto kSpline37DualSet = splineDual(kSpline37Low, kSpline37Rec, 1.0f);
constexpr auto kSpline39Set = spline(kSpline39Low, kSpline39Rec, 1.0f);
constexpr auto kSpline39DualSet = splineDual(kSpline39Low, kSpline39Rec, 1.0f);

// One built-in kernel: its selectors and its four filters in the order
// decLow, decHigh, recLow, recHigh.
struct WtRow {
    int32_t wtType;
    int32_t par1;
    int32_t par2;
    std::array<const float*, 4> taps;
    std::array<int32_t, 4> length;
    std::array<int32_t, 4> offset;
};

template <std::size_t L, std::size_t R>
constexpr WtRow row(int32_t wtType, int32_t par1, int32_t par2, const WtTaps<L, R>& t,
                    std::array<int32_t, 4> offset)
{
    return {wtType,
            par1,
            par2,
            {t.decLow.data(), t.decHigh.data(), t.recLow.data(), t.recHigh.data()},
            {int32_t(L), int32_t(R), int32_t(R), int32_t(L)},
            offset};
}

// Offsets of the spline kernels by rule; the dual kernel exchanges the two
// analysis filters' offsets and the two synthesis filters'.
template <std::size_t L, std::size_t R>
constexpr WtRow splineRow(int32_t wtType, int32_t par1, int32_t par2, const WtTaps<L, R>& t)
{
    const int32_t decLow = par1 / 2;
    const int32_t decHigh = par1 == 3 ? par2 : par2 - 1;
    if (wtType == ZAN_WAVELET_SPLINE_DUAL)
        return row(wtType, par1, par2, t, {decHigh, decLow, decLow + 1, decHigh + 1});
    return row(wtType, par1, par2, t, {decLow, decHigh, decHigh + 1, decLow + 1});
}

constexpr WtRow kRows[] = {
    row(0, 0, 0, kHaarSet, {1, 1, 0, 0}),
    row(1, 1, 0, kHaarSet, {1, 1, 0, 0}),
    row(1, 2, 0, kDaubechies2Set, {1, 3, 2, 0}),
    row(1, 3, 0, kDaubechies3Set, {1, 3, 4, 2}),
    row(1, 4, 0, kDaubechies4Set, {1, 5, 6, 2}),
    row(1, 5, 0, kDaubechies5Set, {2, 8, 7, 1}),
    row(1, 6, 0, kDaubechies6Set, {2, 10, 9, 1}),
    row(1, 7, 0, kDaubechies7Set, {2, 10, 11, 3}),
    row(1, 8, 0, kDaubechies8Set, {2, 12, 13, 3}),
    row(1, 9, 0, kDaubechies9Set, {3, 15, 14, 2}),
    row(1, 10, 0, kDaubechies10Set, {3, 17, 16, 2}),
    row(2, 1, 0, kSymlet1Set, {3, 5, 4, 2}),
    row(2, 2, 0, kSymlet2Set, {4, 4, 5, 5}),
    row(2, 3, 0, kSymlet3Set, {5, 7, 6, 4}),
    row(2, 4, 0, kSymlet4Set, {8, 6, 5, 7}),
    row(2, 5, 0, kSymlet5Set, {8, 6, 7, 9}),
    row(2, 6, 0, kSymlet6Set, {9, 9, 8, 8}),
    row(2, 7, 0, kSymlet7Set, {9, 11, 10, 8}),
    row(3, 1, 0, kCoiflet1Set, {4, 2, 1, 3}),
    row(3, 2, 0, kCoiflet2Set, {4, 6, 7, 5}),
    row(3, 3, 0, kCoiflet3Set, {6, 10, 11, 7}),
    row(3, 4, 0, kCoiflet4Set, {8, 14, 15, 9}),
    row(3, 5, 0, kCoiflet5Set, {10, 18, 19, 11}),
    row(4, 0, 0, kVaidyanathanSet, {20, 2, 3, 21}),
    splineRow(5, 1, 1, kSpline11Set),
    splineRow(5, 1, 3, kSpline13Set),
    splineRow(5, 1, 5, kSpline15Set),
    splineRow(5, 2, 2, kSpline22Set),
    splineRow(5, 2, 4, kSpline24Set),
    splineRow(5, 2, 6, kSpline26Set),
    splineRow(5, 2, 8, kSpline28Set),
    splineRow(5, 3, 1, kSpline31Set),
    splineRow(5, 3, 3, kSpline33Set),
    splineRow(5, 3, 5, kSpline35Set),
    splineRow(5, 3, 7, kSpline37Set),
    splineRow(5, 3, 9, kSpline39Set),
    splineRow(6, 1, 1, kSpline11DualSet),
    splineRow(6, 1, 3, kSpline13DualSet),
    splineRow(6, 1, 5, kSpline15DualSet),
    splineRow(6, 2, 2, kSpline22DualSet),
    splineRow(6, 2, 4, kSpline24DualSet),
    splineRow(6, 2, 6, kSpline26DualSet),
    splineRow(6, 2, 8, kSpline28DualSet),
    splineRow(6, 3, 1, kSpline31DualSet),
    splineRow(6, 3, 3, kSpline33DualSet),
    splineRow(6, 3, 5, kSpline35DualSet),
    splineRow(6, 3, 7, kSpline37DualSet),
    splineRow(6, 3, 9, kSpline39DualSet),
    splineRow(7, 2, 2, kSpline22Set),
    splineRow(8, 3, 3, kSpline33Set),
};

// Whether a family is chosen among by par1, and by par2.
bool selectsByPar1(int32_t wtType)
{
    return wtType != ZAN_WAVELET_HAAR && wtType != ZAN_WAVELET_VAIDYANATHAN &&
           wtType < ZAN_WAVELET_SPLINE_22;
}
bool selectsByPar2(int32_t wtType)
{
    return wtType == ZAN_WAVELET_SPLINE || wtType == ZAN_WAVELET_SPLINE_DUAL;
}

// Filters whose symmetry alternates symmetric, antisymmetric: Haar and the
// spline kernels of odd order.
bool alternatesSymmetry(const WtRow& r)
{
    if (r.wtType < ZAN_WAVELET_SPLINE)
        return r.length[0] == 2;
    return r.par1 != 2;
}

int32_t symmetryOf(const WtRow& r, int filter)
{
    if (alternatesSymmetry(r))
        return filter % 2;
    return r.wtType < ZAN_WAVELET_SPLINE ? 2 : 0;
}

ZanWtFilter& filterOf(ZanWtKernel& kernel, int filter)
{
    ZanWtFilter* filters[4] = {&kernel.filtDecLow, &kernel.filtDecHigh, &kernel.filtRecLow,
                               &kernel.filtRecHigh};
    return *filters[filter];
}

void fillBuiltIn(const WtRow& r, ZanWtKernel& kernel)
{
    kernel.wtType = r.wtType;
    kernel.par1 = selectsByPar1(r.wtType) ? r.par1 : 0;
    kernel.par2 = selectsByPar2(r.wtType) ? r.par2 : 0;
    kernel.wtClass = r.wtType < ZAN_WAVELET_SPLINE ? 0 : 1;
    for (int f = 0; f < 4; ++f) {
        // The shared tables are never written through a kernel.
        filterOf(kernel, f) = {const_cast<float*>(r.taps[f]), r.length[f], r.offset[f],
                               symmetryOf(r, f)};
    }
}

// The taps, lengths and offsets of a user kernel, checked by the caller.
struct UserFilters {
    std::array<const float*, 4> taps;
    std::array<int32_t, 4> length;
    std::array<int32_t, 4> offset;
};

UserFilters fromRecords(const ZanWtFilter* const (&f)[4])
{
    UserFilters u{};
    for (int i = 0; i < 4; ++i) {
        u.taps[i] = f[i]->taps;
        u.length[i] = f[i]->length;
        u.offset[i] = f[i]->offset;
    }
    return u;
}

// Makes a user kernel with its own copy of the taps.
ZanStatus makeUserKernel(const OwnSite& site, const UserFilters& u, ZanWtKernel& kernel)
{
    kernel.wtType = ZAN_WAVELET_USER;
    kernel.par1 = 0;
    kernel.par2 = 0;
    kernel.wtClass = 3;
    for (int f = 0; f < 4; ++f)
        filterOf(kernel, f) = {nullptr, u.length[f], u.offset[f], 3};
    for (int f = 0; f < 4; ++f) {
        float* block = reinterpret_cast<float*>(zaniMalloc(u.length[f]));
        if (!block) {
            for (int g = 0; g < f; ++g)
                zanFree(filterOf(kernel, g).taps);
            return ownWtFail(site, ZAN_STATUS_NO_MEMORY, "No working memory.");
        }
        std::memcpy(block, u.taps[f], sizeof(float) * std::size_t(u.length[f]));
        filterOf(kernel, f).taps = block;
    }
    return ZAN_STATUS_OK;
}

ZanStatus checkFilters(const OwnSite& site, const ZanWtFilter* const (&f)[4],
                       const char* const (&names)[4])
{
    for (int i = 0; i < 4; ++i) {
        const ZanStatus status = ownWtCheckFilter(site, *f[i], names[i], ZAN_STATUS_FILTER_CONTENT);
        if (status != ZAN_STATUS_OK)
            return status;
    }
    return ZAN_STATUS_OK;
}

constexpr const char* kNullKernel = "Null pointer by wtKernel was passed.";

} // namespace

ZanStatus ownWtFail(const OwnSite& site, ZanStatus status, const char* text)
{
    zanError(status, site.function, text, site.source, __LINE__);
    return status;
}

ZanStatus ownWtCheckFilter(const OwnSite& site, const ZanWtFilter& filter, const char* name,
                           ZanStatus status)
{
    char text[128];
    if (!filter.taps)
        std::snprintf(text, sizeof text, "Error %s.taps == NULL.", name);
    else if (filter.length < 2)
        std::snprintf(text, sizeof text, "Error %s.length < 2.", name);
    else if (filter.offset >= filter.length)
        std::snprintf(text, sizeof text, "Error %s.offset >= %s.length.", name, name);
    else if (filter.offset < 0)
        std::snprintf(text, sizeof text, "Error %s.offset < 0.", name);
    else
        return ZAN_STATUS_OK;
    return ownWtFail(site, status, text);
}

extern "C" {

ZAN_API ZanStatus zanWtInit(int32_t wtType, int32_t par1, int32_t par2, ZanWtKernel* wtKernel)
{
    zanSetErrStatus(ZAN_STATUS_OK);
    if (!wtKernel)
        return ownWtFail(kInitSite, ZAN_STATUS_NULL_POINTER, kNullKernel);
    if (wtType < ZAN_WAVELET_HAAR || wtType > ZAN_WAVELET_SPLINE_33)
        return ownWtFail(kInitSite, ZAN_STATUS_BAD_ARGUMENT, "Bad wtType value.");
    bool par1Known = false;
    for (const WtRow& r : kRows) {
        if (r.wtType != wtType || (selectsByPar1(wtType) && r.par1 != par1))
            continue;
        par1Known = true;
        if (selectsByPar2(wtType) && r.par2 != par2)
            continue;
        fillBuiltIn(r, *wtKernel);
        return ZAN_STATUS_OK;
    }
    if (!par1Known)
        return ownWtFail(kInitSite, ZAN_STATUS_BAD_ARGUMENT, "Bad par1   value.");
    return ownWtFail(kInitSite, ZAN_STATUS_BAD_ARGUMENT, "Bad par2   value.");
}

ZAN_API ZanStatus zanWtInitUserFilter(const ZanWtFilter* decLow, const ZanWtFilter* decHigh,
                                      const ZanWtFilter* recLow, const ZanWtFilter* recHigh,
                                      ZanWtKernel* wtKernel)
{
    static const OwnSite site = {"zanWtInitUserFilter", "zanwt"};
    zanSetErrStatus(ZAN_STATUS_OK);
    if (!wtKernel)
        return ownWtFail(site, ZAN_STATUS_NULL_POINTER, kNullKernel);
    const ZanWtFilter* const filters[4] = {decLow, decHigh, recLow, recHigh};
    const char* const nullTexts[4] = {
        "Null pointer by decLow was passed.", "Null pointer by decHigh was passed.",
        "Null pointer by recLow was passed.", "Null pointer by recHigh was passed."};
    for (int i = 0; i < 4; ++i)
        if (!filters[i])
            return ownWtFail(site, ZAN_STATUS_NULL_POINTER, nullTexts[i]);
    const char* const names[4] = {"(*decLow)", "(*decHigh)", "(*recLow)", "(*recHigh)"};
    const ZanStatus status = checkFilters(site, filters, names);
    if (status != ZAN_STATUS_OK)
        return status;
    return makeUserKernel(site, fromRecords(filters), *wtKernel);
}

ZAN_API ZanStatus zanWtInitUserFilter4(const ZanWtFilter* filt, ZanWtKernel* wtKernel)
{
    static const OwnSite site = {"zanWtInitUserFilter4", "zanwt"};
    zanSetErrStatus(ZAN_STATUS_OK);
    if (!wtKernel)
        return ownWtFail(site, ZAN_STATUS_NULL_POINTER, kNullKernel);
    if (!filt)
        return ownWtFail(site, ZAN_STATUS_NULL_POINTER, "Null pointer by filt was passed.");
    const ZanWtFilter* const filters[4] = {&filt[0], &filt[1], &filt[2], &filt[3]};
    const char* const names[4] = {"filt[0]", "filt[1]", "filt[2]", "filt[3]"};
    const ZanStatus status = checkFilters(site, filters, names);
    if (status != ZAN_STATUS_OK)
        return status;
    return makeUserKernel(site, fromRecords(filters), *wtKernel);
}

ZAN_API ZanStatus zanWtInitUserTaps(const float* const* tap_filt, const int32_t* len_filt,
                                    const int32_t* ofs_filt, ZanWtKernel* wtKernel)
{
    static const OwnSite site = {"zanWtInitUserTaps", "zanwt"};
    zanSetErrStatus(ZAN_STATUS_OK);
    if (!wtKernel)
        return ownWtFail(site, ZAN_STATUS_NULL_POINTER, kNullKernel);
    if (!tap_filt)
        return ownWtFail(site, ZAN_STATUS_NULL_POINTER, "Null pointer by tap_filt was passed.");
    if (!len_filt)
        return ownWtFail(site, ZAN_STATUS_NULL_POINTER, "Null pointer by len_filt was passed.");
    if (!ofs_filt)
        return ownWtFail(site, ZAN_STATUS_NULL_POINTER, "Null pointer by ofs_filt was passed.");
    char text[64];
    for (int i = 0; i < 4; ++i)
        if (!tap_filt[i]) {
            std::snprintf(text, sizeof text, "Null pointer by tap_filt[%d] was passed.", i);
            return ownWtFail(site, ZAN_STATUS_NULL_POINTER, text);
        }
    for (int i = 0; i < 4; ++i)
        if (len_filt[i] < 2) {
            std::snprintf(text, sizeof text, "Error len_filt[%d] < 2.", i);
            return ownWtFail(site, ZAN_STATUS_VECTOR_LENGTH, text);
        }
    for (int i = 0; i < 4; ++i)
        if (ofs_filt[i] >= len_filt[i]) {
            std::snprintf(text, sizeof text, "Error ofs_filt[%d] >= len_filt[%d].", i, i);
            return ownWtFail(site, ZAN_STATUS_FILTER_OFFSET, text);
        }
    for (int i = 0; i < 4; ++i)
        if (ofs_filt[i] < 0) {
            std::snprintf(text, sizeof text, "Error ofs_filt[%d] < 0.", i);
            return ownWtFail(site, ZAN_STATUS_FILTER_OFFSET, text);
        }
    UserFilters u{};
    for (int i = 0; i < 4; ++i) {
        u.taps[i] = tap_filt[i];
        u.length[i] = len_filt[i];
        u.offset[i] = ofs_filt[i];
    }
    return makeUserKernel(site, u, *wtKernel);
}

ZAN_API ZanStatus zanWtFree(ZanWtKernel* wtKernel)
{
    static const OwnSite site = {"zanWtFree", "zanwt"};
    if (!wtKernel)
        return ownWtFail(site, ZAN_STATUS_NULL_POINTER, kNullKernel);
    if (wtKernel->wtType == ZAN_WAVELET_USER)
        for (int f = 0; f < 4; ++f)
            zanFree(filterOf(*wtKernel, f).taps);
    *wtKernel = ZanWtKernel{};
    return ZAN_STATUS_OK;
}

} // extern "C"
