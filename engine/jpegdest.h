// A libjpeg destination that writes into a std::vector.
//
// libjpeg's own memory destination hands its buffer to the caller only when compression
// finishes; on an error part-way it has already freed and replaced the buffer the caller
// knows, so the caller cannot release it correctly. Owning the bytes here avoids that.
#pragma once

#include "load.h"

#include <cstdio>

#include <jpeglib.h>

namespace dravik {

struct VectorDestination {
    jpeg_destination_mgr pub {};
    Bytes bytes;

    // Attach to a compressor; this object must outlive the compression.
    void attach(j_compress_ptr cinfo)
    {
        pub.init_destination = &init;
        pub.empty_output_buffer = &empty;
        pub.term_destination = &term;
        cinfo->dest = &pub;
    }

private:
    static constexpr std::size_t kChunk = 1 << 16;

    static VectorDestination *self(j_compress_ptr cinfo) { return reinterpret_cast<VectorDestination *>(cinfo->dest); }

    static void init(j_compress_ptr cinfo)
    {
        VectorDestination *d = self(cinfo);
        d->bytes.resize(kChunk);
        d->pub.next_output_byte = d->bytes.data();
        d->pub.free_in_buffer = d->bytes.size();
    }

    // libjpeg calls this when the buffer is full, whatever free_in_buffer says.
    static boolean empty(j_compress_ptr cinfo)
    {
        VectorDestination *d = self(cinfo);
        const std::size_t used = d->bytes.size();
        d->bytes.resize(used * 2);
        d->pub.next_output_byte = d->bytes.data() + used;
        d->pub.free_in_buffer = d->bytes.size() - used;
        return TRUE;
    }

    static void term(j_compress_ptr cinfo)
    {
        VectorDestination *d = self(cinfo);
        d->bytes.resize(d->bytes.size() - d->pub.free_in_buffer);
    }
};

} // namespace dravik
