// What is enumerated: scopes, each a finite set of inputs that are numbered from 0. The number
// alone says what the input is, so any part of a scope can be done anywhere, and one input again.
#ifndef PROOF_SCOPES_H
#define PROOF_SCOPES_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "proof/differential.h"

class Scope {
public:
    explicit Scope(std::string name) : name_(std::move(name)) {}
    virtual ~Scope() = default;
    Scope(const Scope &) = delete;
    Scope &operator=(const Scope &) = delete;

    [[nodiscard]] const std::string &name() const { return name_; }
    [[nodiscard]] virtual std::uint64_t count() const = 0;
    // Writes input number `index` into `file`, whose old content goes, and, where the scope is one
    // of calls, what is called on it into `steps`.
    virtual void write(std::uint64_t index, std::vector<std::uint8_t> &file,
                       std::vector<Step> &steps) const = 0;

private:
    std::string name_;
};

enum class Extent {
    small,  // some millions, in half a minute
    whole,  // more than a hundred million
};
std::vector<std::unique_ptr<Scope>> scopes(Extent extent);

#endif
