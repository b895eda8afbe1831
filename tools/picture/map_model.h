// What a picture of a file shows: its parts to scale, and its streams as lanes along it. However
// many chunks the file has, a lane holds a bounded number of marks, and so do its clock, its lead
// and its bitrate.
#ifndef TOOLS_PICTURE_MAP_MODEL_H
#define TOOLS_PICTURE_MAP_MODEL_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "chunks/chunk_tree.h"
#include "chunks/stream_clock.h"

enum class PartKind { form, header, media, index, extension, filler, other, lost };

struct Part {
    PartKind kind;
    std::int64_t start;
    std::int64_t end;
    std::string name;   // "LIST hdrl"
    std::string words;  // "header list, 8,906 bytes"
};

// Chunks of a stream: one that is wide enough to be seen, or all that begin in the same column.
struct Mark {
    std::int64_t start = 0;
    std::int64_t end = 0;
    std::uint64_t chunks = 0;
    std::uint64_t bytes = 0;  // of payload
    double first_time = -1;   // of its first chunk in seconds; negative for none
    double end_time = -1;     // when its last chunk has played

    void add(const Chunk &chunk);
};

// A narrow strip of the file.
struct Column {
    Mark mark;
    double covered =
        0;  // bytes of the column that the stream's narrow chunks take, headers included
};

// How far a stream has played over a stretch of the file.
struct ClockSpan {
    std::int64_t start;
    std::int64_t end;
    double from;
    double to;
};

// By how many seconds a stream is ahead of the leading stream over a stretch of the file. Chunks
// that wait for their turn after it are behind: negative.
struct LeadSpan {
    std::int64_t start;
    std::int64_t end;
    double first;
    double low;
    double high;
    double last;
};

// Bytes over time, in intervals that double as the time grows.
class Bitrate {
public:
    static constexpr std::size_t kMostIntervals = 240;

    void add(double start, double seconds, double bytes);
    void widen_to(double interval);
    [[nodiscard]] double interval() const { return interval_; }
    [[nodiscard]] const std::vector<double> &bytes() const { return bytes_; }

private:
    void widen();

    double interval_ = 0.04;
    std::vector<double> bytes_;
};

struct Lane {
    std::vector<Column> columns;  // of the whole file, or none without a chunk
    std::vector<Mark> wide;       // chunks that are wider than a column: no more than columns
    std::vector<Mark> indexes;    // the stream's standard indexes: no more than columns
    std::uint64_t chunks = 0;     // of media, as all that follows
    std::uint64_t bytes = 0;
    StreamClock rate;
    double time = 0;  // played so far
    std::vector<ClockSpan> clock;
    std::vector<LeadSpan> lead;  // none for the leading stream
    Bitrate bitrate;
};

class MapModel : public ChunkVisitor {
public:
    static constexpr std::size_t kColumns = 576;
    static constexpr std::size_t kMostParts = 1000;
    static constexpr int kHighStreams = 20;   // the lane of numbers that no stream can have
    static constexpr int kOtherChunks = 100;  // the lane of chunks that name no stream

    // A null record leaves the lanes without a clock.
    MapModel(const AviReaderState *reader, std::int64_t file_size);

    void enter(const Chunk &list, Parents parents) override;
    void leave(const Chunk &list, Parents parents) override;
    void visit(const Chunk &chunk, Parents parents) override;
    void lost(std::int64_t pos, std::int64_t size, Parents parents) override;
    void hole(std::int64_t pos, std::int64_t size, Parents parents) override;

    [[nodiscard]] const std::vector<Part> &forms() const { return forms_; }
    [[nodiscard]] const std::vector<Part> &parts() const { return parts_; }
    // Lost bytes within the parts.
    [[nodiscard]] const std::vector<Part> &lost_inside() const { return lost_inside_; }
    [[nodiscard]] std::map<int, Lane> &lanes() { return lanes_; }
    [[nodiscard]] const std::map<int, Lane> &lanes() const { return lanes_; }
    // The stream that the others are to keep up with, the first video; -1 for none with a clock.
    [[nodiscard]] int leading() const { return leading_; }
    // Bytes that the outermost chunks declare and the file does not hold.
    [[nodiscard]] std::int64_t missing() const { return missing_; }
    [[nodiscard]] double column_bytes() const {
        return static_cast<double>(size_) / static_cast<double>(kColumns);
    }
    [[nodiscard]] std::int64_t file_size() const { return size_; }

private:
    void add_part(const Chunk &chunk, Parents parents);
    static void add_part(std::vector<Part> &parts, Part part);
    void add_lost(std::int64_t pos, std::int64_t size, const char *why, Parents parents);
    void add_media(const Chunk &chunk);
    void play(Lane &lane, Mark &mark, const Chunk &chunk);
    void add_lead(Lane &lane, const Chunk &chunk, double before, double after) const;
    [[nodiscard]] std::size_t column_of(std::int64_t pos) const;
    Mark &mark_for(Lane &lane, const Chunk &chunk) const;
    Mark &index_mark_for(Lane &lane, const Chunk &chunk) const;

    std::int64_t size_;
    std::vector<Part> forms_;
    std::vector<Part> parts_;
    std::vector<Part> lost_inside_;
    std::map<int, Lane> lanes_;
    int leading_ = -1;
    std::int64_t missing_ = 0;
};

#endif
