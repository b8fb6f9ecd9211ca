// The public header compiled as C++17 by a C++ caller.
#include "jsoncodec.h"

#include <cstdint>
#include <type_traits>

static_assert(std::is_standard_layout_v<rule> && std::is_standard_layout_v<item_definition>,
              "records are plain C structures");
static_assert(sizeof(item_definition::item_definitionOperator_present) == 1, "presence flags are 8-bit");

int32_t header_cxx17_encode(const rule &r, char **out) {
    char err[128];
    rule copy = r;
    copy.ruleComment_present = 0;
    return rmqc_json_from_rule(&copy, out, err, sizeof err, 1);
}
