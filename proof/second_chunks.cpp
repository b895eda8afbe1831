#include "proof/second_chunks.h"

namespace second {

int peek_chunk_header(Stream &stream, Header &header) {
    int status = 0;
    status |= read_fourcc(stream, header.id);
    status |= read_u32(stream, header.size);
    status |= read_fourcc(stream, header.third);
    stream.seek(-12, kFromCurrent);
    return status;
}

int read_stream_header(StreamHeader &header, Stream &stream) {
    std::uint32_t id = 0;
    std::uint32_t size = 0;
    int status = 0;
    status |= read_fourcc(stream, id);
    status |= read_u32(stream, size);
    if (!fourcc_equal(id, fourcc("strh"))) status |= 1;
    if (size < 56) status |= 1;
    status |= read_fourcc(stream, header.type);
    status |= read_fourcc(stream, header.handler);
    status |= read_u32(stream, header.flags);
    status |= read_u16(stream, header.priority);
    status |= read_u16(stream, header.language);
    status |= read_u32(stream, header.initial_frames);
    status |= read_u32(stream, header.scale);
    status |= read_u32(stream, header.rate);
    status |= read_u32(stream, header.start);
    status |= read_u32(stream, header.length);
    status |= read_u32(stream, header.suggested_buffer_size);
    status |= read_u32(stream, header.quality);
    status |= read_u32(stream, header.sample_size);
    for (std::uint16_t &value : header.frame) status |= read_u16(stream, value);
    if (size >= 57) status |= read_past(stream, size - 56);
    return status;
}

int read_video_format(VideoFormat &format, Stream &stream) {
    std::uint32_t id = 0;
    std::uint32_t size = 0;
    int status = 0;
    status |= read_fourcc(stream, id);
    status |= read_u32(stream, size);
    status |= read_u32(stream, format.structure_size);
    status |= read_u32(stream, format.width);
    status |= read_u32(stream, format.height);
    status |= read_u16(stream, format.planes);
    status |= read_u16(stream, format.bit_count);
    status |= read_u32(stream, format.compression);
    status |= read_u32(stream, format.image_size);
    status |= read_u32(stream, format.x_pixels_per_metre);
    status |= read_u32(stream, format.y_pixels_per_metre);
    status |= read_u32(stream, format.colours_used);
    status |= read_u32(stream, format.colours_important);
    if (format.structure_size != size) status |= 1;
    return status;
}

int read_audio_format(WaveFormat &format, Stream &stream) {
    std::uint32_t id = 0;
    std::uint32_t size = 0;
    int status = 0;
    status |= read_fourcc(stream, id);
    status |= read_u32(stream, size);
    status |= read_u16(stream, format.format_tag);
    status |= read_u16(stream, format.channels);
    status |= read_u32(stream, format.samples_per_second);
    status |= read_u32(stream, format.average_bytes_per_second);
    status |= read_u16(stream, format.block_align);
    status |= read_u16(stream, format.bits_per_sample);
    if (size < 17) {
        format.extra_size = 0;
        return status;
    }
    status |= read_u16(stream, format.extra_size);
    const auto extra = static_cast<std::int16_t>(format.extra_size);
    for (int i = 0; extra >= 1 && extra <= 22 && i < extra; ++i)
        status |= read_u8(stream, format.extra.at(static_cast<std::size_t>(i)));
    return status;
}

int read_text_format(std::array<std::uint16_t, 4> &values, Stream &stream) {
    std::uint32_t id = 0;
    std::uint32_t size = 0;
    int status = 0;
    status |= read_fourcc(stream, id);
    status |= read_u32(stream, size);
    status |= read_u16(stream, values[0]);
    status |= read_u16(stream, values[1]);
    status |= read_u16(stream, values[3]);
    status |= read_u16(stream, values[2]);
    return status;
}

int read_stream_name(Name &name, Stream &stream) {
    std::uint32_t id = 0;
    std::uint32_t size = 0;
    int status = read_fourcc(stream, id);
    if (!fourcc_equal(id, fourcc("strn"))) return 1;
    status |= read_u32(stream, size);
    name.length = static_cast<std::int16_t>(size & 0xFFFF);
    if (name.length < 0) return status;
    for (std::int32_t i = 0; i < name.length; ++i) {
        std::uint8_t byte = 0;
        if (read_u8(stream, byte)) return 1;  // the end of the file: no more will come
        name.bytes.push_back(byte);
    }
    return status;
}

int read_stream_data(StreamData &data, Stream &stream) {
    std::uint32_t id = 0;
    std::uint32_t size = 0;
    int status = read_fourcc(stream, id);
    if (!fourcc_equal(id, fourcc("strd"))) return 1;
    status |= read_u32(stream, size);
    status |= read_u32(stream, data.word);
    status |= read_u32(stream, data.length);
    if (data.length > kLargestBuffer) return 1;
    data.pos = stream.tell();
    const auto payload = stream.read(data.length);
    if (payload.size() < data.length) return 1;
    data.bytes.assign(payload.begin(), payload.end());
    return status;
}

}  // namespace second
