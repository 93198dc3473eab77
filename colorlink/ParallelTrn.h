// Converts one run of pixels on several threads through a built link. The run is cut into
// contiguous pieces, one per thread, and each piece goes through the link's own TrnPixels8 or
// TrnPixels16, so the output is byte for byte that of one serial call. Only for links whose
// pixel operations may be shared by threads (a built native link is one).
#pragma once

#include <cstddef>

#include "colorlink/MdlColorLink.h"

// threads 0 means every core of the machine. Runs below a few thousand pixels per thread are
// done on the calling thread alone: starting threads would cost more than it saves.
void TrnPixels8Parallel(CMdlColorLink& link, const unsigned char* src, unsigned char* dst,
                        size_t count, unsigned threads = 0);
void TrnPixels16Parallel(CMdlColorLink& link, const unsigned short* src, unsigned short* dst,
                         size_t count, unsigned threads = 0);
