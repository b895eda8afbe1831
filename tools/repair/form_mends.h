// Where the file and its forms begin and end.
#ifndef TOOLS_REPAIR_FORM_MENDS_H
#define TOOLS_REPAIR_FORM_MENDS_H

#include <optional>
#include <vector>

#include "repair/mend.h"

// Cuts off what stands before the first form.
class FrontMend : public Mend {
public:
    std::vector<Edit> edits(const Seen &seen) override;
};

// What lies outside the forms: an index and media are taken into the form before them, a form of
// odd size gets its pad byte, and bytes that are no chunk are cut off.
class OutsideMend : public Mend {
public:
    void leave(const Chunk &list, Parents parents) override;
    void visit(const Chunk &chunk, Parents parents) override;
    void lost(std::int64_t pos, std::int64_t size, Parents parents) override;
    void hole(std::int64_t pos, std::int64_t size, Parents parents) override;
    std::vector<Edit> edits(const Seen &seen) override;

private:
    enum class Is { form, belonging, stray };
    struct Part {
        Is is;
        std::string_view rule;  // by which it should not lie there
        std::int64_t pos;
        std::int64_t end;
        Chunk chunk;
    };

    void add(Part part);
    static void mend_behind(std::vector<Edit> &edits, const Seen &seen, const Part &form,
                            std::span<const Part> behind, bool last);

    std::vector<Part> parts_;
};

// Cuts off what is left of a chunk's header where the file ends.
class EndMend : public Mend {
public:
    void lost(std::int64_t pos, std::int64_t size, Parents parents) override;
    std::vector<Edit> edits(const Seen &seen) override;

private:
    std::int64_t pos_ = 0;
    std::int64_t size_ = 0;
    std::vector<Chunk> parents_;
};

#endif
