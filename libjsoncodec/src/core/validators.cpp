#include "validators.h"

#include "jsoncodec.h"
#include "table.h"

namespace jsoncodec {

JC_ENUM_VALUES(schedule_period, "week", "month", "reference");

int32_t validate_schedule_period_decode(const char *text, char *errbuf, uint64_t errlen, path_node *path) {
    return check_enum(schedule_period, text, RMQC_ERR_DECODE, errbuf, errlen, path);
}

int32_t validate_schedule_period_encode(const char *text, char *errbuf, uint64_t errlen, path_node *path) {
    return check_enum(schedule_period, text, RMQC_ERR_ENCODE, errbuf, errlen, path);
}

}  // namespace jsoncodec
