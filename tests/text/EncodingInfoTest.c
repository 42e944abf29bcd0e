/* The encoding functions can be had from C, with records of the same size. */

#include <qx/text/charset/encinfo.h>

_Static_assert(sizeof(QXEncodingInfo) == 2 * sizeof(void*), "size of a record");
