/*
 * A tour of the image frame: two images are added under a region of
 * interest, then under a mask, then with one source held in tiles that the
 * application serves through its callback. Each step prints what happened.
 */
#include "zan.h"

#include <stdio.h>
#include <string.h>

#define TILE 8

/* The application's tile store for a 16x16 gray image in 8x8 tiles. */
static unsigned char g_tiles[2][2][TILE * TILE];
static int g_opens, g_releases;

static void serveTile(const ZanImage* image, int column, int row, int mode)
{
    if (mode == ZAN_TILE_RELEASE) {
        ++g_releases;
        image->tileInfo->tileData = NULL;
        return;
    }
    ++g_opens;
    printf("  callback: %s tile (%d, %d)\n", mode == ZAN_TILE_READ ? "read" : "write", column, row);
    image->tileInfo->tileData = (char*)g_tiles[row][column];
}

static ZanImage* grayImage(int width, int height, int value)
{
    ZanImage* image = zanCreateImageHeader(1, 0, ZAN_DEPTH_8U, "GRAY", "G\0\0", ZAN_DATA_ORDER_PIXEL,
                                           ZAN_ORIGIN_TOP_LEFT, 4, width, height, NULL, NULL, NULL,
                                           NULL);
    zanAllocateImage(image, 1, value);
    return image;
}

static void printRow(const char* label, const ZanImage* image, int row)
{
    int x;
    printf("  %-22s", label);
    for (x = 0; x < image->width; ++x)
        printf(" %3d", (unsigned char)image->imageData[row * image->widthStep + x]);
    printf("\n");
}

int main(void)
{
    ZanImage* a = grayImage(16, 16, 200);
    ZanImage* b = grayImage(16, 16, 100);
    ZanImage* sum = grayImage(16, 16, 0);
    ZanImage* mask;
    ZanImage* tiled;
    int x, y;

    /* Faults are reported to standard error, and the call returns. */
    zanSetErrMode(ZAN_ErrorModeParent);
    zanRedirectError(zanStdErrReport);

    printf("1. zanAdd of 200 and 100 saturates at 255; the ROI covers columns 4..11:\n");
    sum->roi = zanCreateROI(0, 4, 0, 8, 16);
    zanAdd(a, b, sum);
    printRow("row 0 of the sum:", sum, 0);
    zanDeleteROI(sum->roi);
    sum->roi = NULL;

    printf("2. A mask of alternate columns governs the destination:\n");
    memset(sum->imageData, 0, (size_t)sum->imageSize);
    mask = zanCreateImageHeader(1, 0, ZAN_DEPTH_1U, "GRAY", "G\0\0", ZAN_DATA_ORDER_PIXEL,
                                ZAN_ORIGIN_TOP_LEFT, 4, 16, 16, NULL, NULL, NULL, NULL);
    zanAllocateImage(mask, 1, 0);
    for (y = 0; y < 16; ++y)
        for (x = 0; x < 16; x += 2)
            mask->imageData[y * mask->widthStep + x / 8] |= (char)(0x80 >> (x % 8));
    sum->maskROI = mask;
    zanAdd(a, b, sum);
    printRow("row 0 of the sum:", sum, 0);
    sum->maskROI = NULL;

    printf("3. A tiled source: each value x + 10 * y, served tile by tile:\n");
    for (y = 0; y < 16; ++y)
        for (x = 0; x < 16; ++x)
            g_tiles[y / TILE][x / TILE][(y % TILE) * TILE + x % TILE] = (unsigned char)(x + 10 * y);
    tiled = zanCreateImageHeader(1, 0, ZAN_DEPTH_8U, "GRAY", "G\0\0", ZAN_DATA_ORDER_PIXEL,
                                 ZAN_ORIGIN_TOP_LEFT, 4, 16, 16, NULL, NULL, NULL,
                                 zanCreateTileInfo(serveTile, 1, TILE, TILE));
    zanAdd(tiled, b, sum);
    printf("  %d tiles opened, %d released\n", g_opens, g_releases);
    printRow("row 1 of the sum:", sum, 1);

    printf("4. A bad call: images of different depths.\n");
    zanAdd(a, mask, sum);
    printf("  status %d: %s\n", zanGetErrStatus(), zanErrorStr(zanGetErrStatus()));

    zanDeallocate(tiled, ZAN_FREE_HEADER | ZAN_FREE_TILE);
    zanDeallocate(mask, ZAN_FREE_HEADER | ZAN_FREE_DATA);
    zanDeallocate(a, ZAN_FREE_HEADER | ZAN_FREE_DATA);
    zanDeallocate(b, ZAN_FREE_HEADER | ZAN_FREE_DATA);
    zanDeallocate(sum, ZAN_FREE_HEADER | ZAN_FREE_DATA);
    return 0;
}
