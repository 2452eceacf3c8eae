#pragma once

#include <cstdint>

namespace vantor::download {

// The progress bar of one download slot. Called on the download thread: a window passes the calls on
// to its own thread, the command line prints them. One slot runs one download at a time, so the calls
// of one object never overlap.
class SlotProgress {
public:
    virtual ~SlotProgress() = default;
    // A request is on its way and no body has come yet.
    virtual void waiting() {}
    // The body begins: value 0, maximum the announced length (0 when the server announced none).
    virtual void begin(std::int64_t announcedLength) = 0;
    // Bytes of the body received so far.
    virtual void advance(std::int64_t received) = 0;
    // The download is over: value back to 0.
    virtual void end() = 0;
};

// A slot nobody watches: the command line and the benchmarks run jobs without bars.
class NoSlotProgress : public SlotProgress {
public:
    void begin(std::int64_t) override {}
    void advance(std::int64_t) override {}
    void end() override {}
};

} // namespace vantor::download
