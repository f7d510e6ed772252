/* Compiled as C99: the public header is valid C and the library links. */
#include "zan.h"

#include <stdio.h>

int main(void)
{
    ZanImage* image = zanCreateImageHeader(3, 0, ZAN_DEPTH_8U, "RGB", "RGB", ZAN_DATA_ORDER_PIXEL,
                                           ZAN_ORIGIN_TOP_LEFT, 4, 5, 2, NULL, NULL, NULL, NULL);
    if (!image || image->widthStep != 16) {
        printf("unexpected header\n");
        return 1;
    }
    zanDeallocate(image, ZAN_FREE_ALL);
    return 0;
}
