// The frame of pixelwise operations: validation of the images, the channel
// plan, the merge of their masks and the walk over tiles that hands pieces
// to a row routine. Written once; every operation of the family drives it.
#pragma once

#include "own_core.h"

#include <type_traits>
#include <utility>

// A non-owning reference to a callable, cheap to pass by value.
template <class Signature>
class OwnFunctionRef;

template <class Result, class... Args>
class OwnFunctionRef<Result(Args...)> {
public:
    template <class Callable,
              class = std::enable_if_t<!std::is_same_v<std::decay_t<Callable>, OwnFunctionRef>>>
    OwnFunctionRef(Callable&& callable) // NOLINT: implicit by design
        : object_(const_cast<void*>(static_cast<const void*>(&callable))),
          call_([](void* object, Args... args) -> Result {
              return (*static_cast<std::remove_reference_t<Callable>*>(object))(
                  std::forward<Args>(args)...);
          })
    {
    }
    Result operator()(Args... args) const { return call_(object_, std::forward<Args>(args)...); }

private:
    void* object_;
    Result (*call_)(void*, Args...);
};

// A rectangle of an image in pixels; xEnd and yEnd are set by the walk.
struct OwnRect {
    int x;
    int xEnd;
    int y;
    int yEnd;
    int height;
    int width;
};

// Channels an image contributes: 1 (the COI) with a ROI whose coi is above
// 0, else nChannels less an alpha channel; and the first of them.
void ownImageChannels(const ZanImage* image, int* count, int* first);

// The region of an image: its ROI clipped to the image, or the whole image.
// Width and height come out at 0 or below for a ROI beyond the image.
void ownRegionRect(const ZanImage* image, OwnRect* rect);

// The row routine's view of the region: the address of its first value in
// channel (counted from 0), its size clipped to the image and never below 0,
// and the bit phase of its first column (1-bit images).
char* ownRegionStart(const ZanImage* image, int* width, int* height, int channel, int* bitOffset);

// How ownMergeMasks ended.
enum OwnMaskState {
    OWN_MASK_KEPT = 0,      // nothing allocated: no mask, or the one mask there is
    OWN_MASK_MERGED = 1,    // a new mask; free it with ZAN_FREE_HEADER | ZAN_FREE_DATA
    OWN_MASK_NO_MEMORY = 2, // memory ran out
    OWN_MASK_DISJOINT = 3,  // the masks have nothing in common
};

// Merges up to three masks (any of them null) into one, aligned at the
// top-left corners of their regions.
ZanImage* ownMergeMasks(const ZanImage* maskA, const ZanImage* maskB, const ZanImage* maskC,
                        int* state);

// Position of a walk over the tile grid of one image.
struct OwnTileWalker {
    bool tiled;
    int tileWidth;
    int tileHeight;
    int xStart;
    int xEnd;
    int yStart;
    int yEnd;
    int column;
    int row;
    // The current tile within a band of rows.
    int bandXStart;
    int bandXEnd;
    int bandColumn;
};

// Starts a walker at the tile holding the rectangle's first pixel and turns
// the working header into the header of one tile.
void ownTileWalkInit(const ZanImage* image, ZanImage* work, OwnRect* rect, OwnTileWalker* walker);

// True when the images (imageC may be null) can be processed as one run of
// imageSize bytes: equal blocks, no alpha and no ROI that narrows anything.
bool ownWholeBlock(const ZanImage* imageA, const ZanImage* imageB, const ZanImage* imageC,
                   bool anyAlpha);

// Channels that every call of the row routine processes.
struct OwnChannelPlan {
    int firstChannel[3]; // of the first source, the second source and the destination
    int channelCount;
    bool noCoi;    // no image has a ROI with coi above 0
    bool anyAlpha; // some image has an alpha channel
};

enum OwnImageRole { OWN_SRC_A = 0, OWN_SRC_B = 1, OWN_DST = 2 };

// What the row routine gets: one rectangle of each image in headers that
// never cross a tile, the mask that governs it (or null) and the plan.
struct OwnPiece {
    const ZanImage* src[2]; // src[1] is null in one-source operations
    ZanImage* dst;
    const ZanImage* mask;
    const OwnChannelPlan* plan;
};

using OwnRowRoutine = OwnFunctionRef<void(const OwnPiece&)>;

// Names that the walk puts into its reports.
struct OwnWalkTexts {
    const char* openFailed[3];    // tileData null after an open, by role
    const char* releaseFailed[3]; // tileData still set after a release, by role; null: not tested
};

// Everything the walk needs: the images by role (src[1] null for one
// source), the governing mask and the plan.
struct OwnWalkSetup {
    OwnSite site;
    const ZanImage* src[2];
    ZanImage* dst;
    const ZanImage* mask;
    const OwnChannelPlan* plan;
    const OwnWalkTexts* texts;
};

// Runs the routine once over real headers when no image is tiled, else
// walks bands and chunks so that no piece crosses a tile of any image.
// Returns false if a tile could not be opened (the status is then set).
bool ownFrameWalk(const OwnWalkSetup& setup, OwnRowRoutine routine);

// The shared frame of a two-source or one-source pixelwise operation.
class OwnFrame {
public:
    OwnFrame(OwnSite site, const ZanImage* srcImageA, const ZanImage* srcImageB,
             ZanImage* dstImage);
    OwnFrame(OwnSite site, const ZanImage* srcImage, ZanImage* dstImage);
    OwnFrame(const OwnFrame&) = delete;
    OwnFrame& operator=(const OwnFrame&) = delete;
    ~OwnFrame();

    // Header checks, likeness (the data order compared only when asked),
    // channel plan and mask merge. False when the operation ends here,
    // with a report or, for masks with nothing in common, without one.
    bool prepare(bool compareOrder);

    const ZanImage* mask() const { return mask_; }
    const OwnChannelPlan& plan() const { return plan_; }
    const OwnSite& site() const { return site_; }

    // Hands the images to the routine, whole or tile by tile.
    void run(OwnRowRoutine routine);

private:
    bool checkHeaders();
    bool checkLikeness(bool compareOrder);
    bool planChannels();
    bool mergeMasks();

    OwnSite site_;
    const ZanImage* src_[2];
    ZanImage* dst_;
    bool twoSources_;
    OwnChannelPlan plan_{};
    ZanImage* mask_ = nullptr;
    int maskState_ = OWN_MASK_KEPT;
};
