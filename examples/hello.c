#include <zan.h>
#include <stdio.h>

int main(void)
{
    ZanImage* a = zanCreateImageHeader(3, 0, ZAN_DEPTH_8U, "RGB", "RGB", ZAN_DATA_ORDER_PIXEL,
                                       ZAN_ORIGIN_TOP_LEFT, 4, 640, 480, NULL, NULL, NULL, NULL);
    ZanImage* b = zanCreateImageHeader(3, 0, ZAN_DEPTH_8U, "RGB", "RGB", ZAN_DATA_ORDER_PIXEL,
                                       ZAN_ORIGIN_TOP_LEFT, 4, 640, 480, NULL, NULL, NULL, NULL);
    zanSetErrMode(ZAN_ErrorModeParent);         /* report and return, don't exit */
    zanAllocateImage(a, 1, 200);                /* every value 200 */
    zanAllocateImage(b, 1, 100);
    a->roi = zanCreateROI(0, 10, 10, 100, 100); /* only this rectangle changes */
    zanAdd(a, b, a);                            /* saturated sums: 255 */
    printf("status %d, inside %d, outside %d\n", zanGetErrStatus(),
           (unsigned char)a->imageData[20 * a->widthStep + 60],
           (unsigned char)a->imageData[0]);
    zanDeallocate(a, ZAN_FREE_ALL);
    zanDeallocate(b, ZAN_FREE_ALL);
    return 0;
}
