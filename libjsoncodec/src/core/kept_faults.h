// Findings kept past the walk that reported them: the warnings of a union
// member's trial, passed on only when the member matches, and the faults of
// the closest member of a union that matched none, of which the first in
// record order becomes the union's own fault and the others its notes.
//
// The core is built without exceptions, so the copies live in blocks from
// the C heap; a copy that cannot be made is lost, and says so.
#pragma once

#include <cstdint>

#include "engine_internal.h"

namespace jsoncodec::detail {

// Copies of findings, their texts owned.
class KeptFaults {
  public:
    KeptFaults() = default;
    KeptFaults(const KeptFaults &) = delete;
    KeptFaults &operator=(const KeptFaults &) = delete;
    ~KeptFaults();

    // Keeps a copy of `fault`; false when memory ran out (nothing is kept).
    bool keep(const Fault &fault);
    uint32_t size() const { return size_; }
    const Fault &operator[](uint32_t i) const { return items_[i].fault; }
    // Passes each kept finding on to `log`, in the order they came.
    void replay(FaultLog &log) const;

  private:
    struct Item {
        Fault fault;
        uint32_t order[ORDER_DEPTH];
    };
    Item *items_ = nullptr;
    uint32_t size_ = 0;
    uint32_t capacity_ = 0;
};

// The log of a union member's trial in a walk that reports unknown
// properties: it keeps their warnings until the member is known to match.
// It takes no faults, so warnings are all that reach it.
class HeldWarnings final : public FaultLog {
  public:
    HeldWarnings() { wants_faults = false; }
    void add(const Fault &warning) override { kept.keep(warning); }
    KeptFaults kept;
};

// The log of the closest member's trial, made once more when a union matches
// no member in a checking walk: it keeps every fault of the member (that
// trial reports no unknown properties).
class UnionFault final : public FaultLog {
  public:
    void add(const Fault &fault) override { kept_.keep(fault); }

    // Reports the union's fault into `outer`, whose log wants faults, at
    // `path` (the union's node is named `name`): "No match for union, closest
    // failure: " and the line of the member's first fault in record order,
    // cut as the export cuts it, placed at that fault, with the union's own
    // `hint` when it has one.
    // When `notes` is set, notes follow it in the log: `kinds` (what the
    // union's discriminator may name, or NULL), the member's line in full
    // where the union's line cut it, and each other fault of the member at
    // its place. Returns the status, or 0 when no fault was kept.
    int32_t report(FaultSink outer, path_node *path, const char *name, const char *hint, const char *kinds,
                   bool notes) const;

  private:
    KeptFaults kept_;
};

}  // namespace jsoncodec::detail
