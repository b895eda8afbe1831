// Compares the library with the second reader on every input of every scope:
//
//     enumerate [--whole] [--most=N] [--jobs=N] [--seconds=S] [--ledger=FILE] [--list] [SCOPE...]
//     enumerate [--whole] --write=FILE SCOPE INDEX
//
// A slice of a scope is done by a process of its own and then entered in the ledger, if one is
// given; the next run with the same program goes on from there. A difference is told with the
// scope and the number of the input, which --write writes to a file. Exit status: 0 when all is
// done and nothing differs, 1 for a difference, 3 when the time was up before.
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

#include "proof/differential.h"
#include "proof/scopes.h"

namespace {

constexpr std::uint64_t kSlice = 250'000;

struct Slice {
    const Scope *scope;
    std::uint64_t from;
    std::uint64_t to;
    [[nodiscard]] std::string name() const { return scope->name() + " " + std::to_string(from); }
};

std::vector<Slice> slices_of(const Scope &scope) {
    std::vector<Slice> slices;
    for (std::uint64_t from = 0; from < scope.count(); from += kSlice) {
        slices.push_back({&scope, from, std::min(from + kSlice, scope.count())});
    }
    return slices;
}

// Runs in a process of its own, whose exit status it returns.
int compare(const Slice &slice) {
    std::vector<std::uint8_t> file;
    std::vector<Step> steps;
    for (std::uint64_t index = slice.from; index < slice.to; ++index) {
        steps.clear();
        slice.scope->write(index, file, steps);
        const std::string found = difference(file, steps);
        if (found.empty()) continue;
        std::fprintf(stderr, "%s, number %llu: %s\n", slice.scope->name().c_str(),
                     static_cast<unsigned long long>(index), found.c_str());
        return 1;
    }
    return 0;
}

// What is entered for a slice counts for this program alone.
std::string program_mark() {
    std::ifstream program("/proc/self/exe", std::ios::binary);
    std::uint64_t hash = 14695981039346656037U;
    for (std::istreambuf_iterator<char> byte(program), end; byte != end; ++byte) {
        hash = (hash ^ static_cast<unsigned char>(*byte)) * 1099511628211U;
    }
    return std::to_string(hash);
}

class Ledger {
public:
    explicit Ledger(const std::string &path) : path_(path), mark_(program_mark()) {
        std::ifstream in(path_);
        for (std::string line; std::getline(in, line);) done_.insert(line);
    }
    [[nodiscard]] bool has(const Slice &slice) const { return done_.count(line(slice)) != 0; }
    void enter(const Slice &slice) {
        if (path_.empty()) return;
        std::ofstream(path_, std::ios::app) << line(slice) + "\n";
    }

private:
    [[nodiscard]] std::string line(const Slice &slice) const { return mark_ + " " + slice.name(); }

    std::string path_;
    std::string mark_;
    std::set<std::string> done_;
};

class Run {
public:
    Run(Ledger &ledger, unsigned jobs, std::time_t until)
        : ledger_(ledger), jobs_(jobs), until_(until) {}

    void start(const Slice &slice) {
        while (running_.size() >= jobs_) wait_for_one();
        if (differs_ || (out_of_time_ = out_of_time_ || std::time(nullptr) >= until_)) return;
        const pid_t child = fork();
        if (child == 0) _exit(compare(slice));
        running_.emplace(child, slice);
    }
    void finish() {
        while (!running_.empty()) wait_for_one();
    }
    void count(const Slice &slice) { done_ += slice.to - slice.from; }

    [[nodiscard]] std::uint64_t done() const { return done_; }
    [[nodiscard]] int status() const { return differs_ ? 1 : out_of_time_ ? 3 : 0; }

private:
    void wait_for_one() {
        int status = 0;
        const auto found = running_.find(wait(&status));
        if (found == running_.end()) return;
        const Slice slice = found->second;
        running_.erase(found);
        if (status != 0) {
            std::fprintf(stderr, "The slice %s failed.\n", slice.name().c_str());
            differs_ = true;
            return;
        }
        ledger_.enter(slice);
        count(slice);
    }

    Ledger &ledger_;
    unsigned jobs_;
    std::time_t until_;
    std::map<pid_t, Slice> running_;
    std::uint64_t done_ = 0;
    bool differs_ = false;
    bool out_of_time_ = false;
};

int write_input(const Scope &scope, std::uint64_t index, const std::string &path) {
    std::vector<std::uint8_t> file;
    std::vector<Step> steps;
    scope.write(index, file, steps);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char *>(file.data()),
               static_cast<std::streamsize>(file.size()));
    const std::string found = difference(file, steps);
    std::printf("%s\n", found.empty() ? "they agree" : found.c_str());
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    bool whole = false;
    bool list = false;
    std::uint64_t most = ~std::uint64_t{0};
    unsigned jobs = 2;
    long seconds = 86400;
    std::string ledger_path;
    std::string write_path;
    std::vector<std::string> chosen;
    CLI::App app("Compares the library with the second reader on every input of every scope.");
    app.add_flag("--whole", whole, "more than a hundred million inputs, not some millions");
    app.add_flag("--list", list, "print the scopes and do nothing");
    app.add_option("--most", most, "leave out scopes of more inputs");
    app.add_option("--jobs", jobs, "processes at a time");
    app.add_option("--seconds", seconds, "start nothing after so long");
    app.add_option("--ledger", ledger_path, "where to enter what is done");
    app.add_option("--write", write_path, "write one input to a file, and compare it");
    app.add_option("what", chosen, "scopes; with --write a scope and a number");
    CLI11_PARSE(app, argc, argv);

    Ledger ledger(ledger_path);
    Run run(ledger, jobs, std::time(nullptr) + seconds);
    std::uint64_t all = 0;
    for (const auto &scope : scopes(whole ? Extent::whole : Extent::small)) {
        if (!chosen.empty() && std::count(chosen.begin(), chosen.end(), scope->name()) == 0) {
            continue;
        }
        if (scope->count() > most) continue;
        if (!write_path.empty()) return write_input(*scope, std::stoull(chosen.at(1)), write_path);
        std::printf("%12llu  %s\n", static_cast<unsigned long long>(scope->count()),
                    scope->name().c_str());
        std::fflush(stdout);
        all += scope->count();
        if (list) continue;
        for (const Slice &slice : slices_of(*scope)) {
            if (ledger.has(slice)) {
                run.count(slice);
            } else {
                run.start(slice);
            }
        }
        run.finish();
    }
    if (list) {
        std::printf("%12llu  in all\n", static_cast<unsigned long long>(all));
        return 0;
    }
    std::printf("enumerated: %llu of %llu inputs, %s\n",
                static_cast<unsigned long long>(run.done()), static_cast<unsigned long long>(all),
                run.status() == 1 ? "and they differ" : "0 differences");
    return run.status();
}
