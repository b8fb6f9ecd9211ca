// The benchmark documents. Text is written directly, compact, with the
// escapes jansson itself writes for these strings (\" and \\ only; UTF-8 as
// is), so that encoding the decoded policy gives the same bytes back.
#include "generator.h"

#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <string_view>
#include <vector>

namespace bench {

namespace {

// splitmix64: small, fast and the same on every platform and library.
class Rng {
  public:
    explicit Rng(uint64_t seed) : state_(seed) {}

    uint64_t next() {
        uint64_t z = (state_ += 0x9e3779b97f4a7c15ULL);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
        return z ^ (z >> 31);
    }
    // Uniform enough for picking: the modulo bias is below 2^-50.
    uint64_t below(uint64_t n) { return next() % n; }
    int between(int lo, int hi) { return lo + static_cast<int>(below(static_cast<uint64_t>(hi - lo + 1))); }
    bool chance(int percent) { return below(100) < static_cast<uint64_t>(percent); }
    template <std::size_t N>
    const char *pick(const char *const (&list)[N]) {
        return list[below(N)];
    }

  private:
    uint64_t state_;
};

// A compact JSON writer into one growing string.
class Writer {
  public:
    explicit Writer(std::string &out) : out_(out) {}

    void open_object() {
        value_start();
        out_ += '{';
        first_ = true;
    }
    void close_object() {
        out_ += '}';
        first_ = false;
    }
    void open_array() {
        value_start();
        out_ += '[';
        first_ = true;
    }
    void close_array() {
        out_ += ']';
        first_ = false;
    }
    void key(const char *name) {
        if (!first_) out_ += ',';
        first_ = false;
        out_ += '"';
        out_ += name;
        out_ += "\":";
        after_key_ = true;
    }
    void string(std::string_view text) {
        value_start();
        out_ += '"';
        for (char c : text) {
            if (c == '"' || c == '\\') out_ += '\\';
            out_ += c;
        }
        out_ += '"';
    }
    void integer(int64_t value) {
        value_start();
        out_ += std::to_string(value);
    }
    void boolean(bool value) {
        value_start();
        out_ += value ? "true" : "false";
    }

    void prop(const char *name, std::string_view text) {
        key(name);
        string(text);
    }
    void prop_int(const char *name, int64_t value) {
        key(name);
        integer(value);
    }
    void prop_bool(const char *name, bool value) {
        key(name);
        boolean(value);
    }
    void prop_strings(const char *name, const std::vector<std::string> &items) {
        key(name);
        open_array();
        for (const std::string &item : items) string(item);
        close_array();
    }
    void prop_integers(const char *name, const std::vector<int64_t> &items) {
        key(name);
        open_array();
        for (int64_t item : items) integer(item);
        close_array();
    }

    std::size_t size() const { return out_.size(); }

  private:
    void value_start() {
        if (after_key_) {
            after_key_ = false;
            return;
        }
        if (!first_) out_ += ',';
        first_ = false;
    }

    std::string &out_;
    bool first_ = true;
    bool after_key_ = false;
};

// ------------------------------------------------------------ vocabulary

// By tag - 1: the "actionType" text, and a label for benchmark names.
const char *const kind_texts[ACTION_KINDS] = {
    "backup",
    "probe",
    "execute",
    "clone",
    "discover",
    "check connectivity",
    "generate index",
    "backup index",
    "expire",
    "server backup",
    "autostage",
    "recover space",
    "exercise",
    "WEX checkpoint discover",
    "WEX checkpoint backup",
};
const char *const kind_labels[ACTION_KINDS] = {
    "backup",
    "probe",
    "execute",
    "clone",
    "discover",
    "check_connectivity",
    "generate_index",
    "backup_index",
    "expire",
    "server_backup",
    "autostage",
    "recover_space",
    "exercise",
    "wex_checkpoint_discover",
    "wex_checkpoint_backup",
};
const char *const subtype_texts[BACKUP_SUBTYPES] = {"traditional", "snapshot", "archive", "vmware", "vmware-kestrel"};
// Short slugs for action names, by kind.
const char *const kind_slugs[ACTION_KINDS] = {
    "backup", "probe", "exec",  "clone",   "discover", "check",   "index",   "idxbk",
    "expire", "srvbk", "stage", "reclaim", "load",     "wexdisc", "wexckpt",
};

// How often each kind occurs in a workflow (percent, summing to 100), and
// each backup subtype among backups.
const int kind_weights[ACTION_KINDS] = {40, 5, 5, 10, 3, 8, 3, 3, 4, 3, 3, 3, 2, 4, 4};
const int subtype_weights[BACKUP_SUBTYPES] = {45, 15, 10, 15, 15};

const char *const tiers[] = {"Gold", "Silver", "Bronze", "Platinum", "Tier1", "Tier2"};
const char *const media[] = {"Disk", "Dedup", "Tape", "Cloud", "NAS-Snap", "VM", "Archive-Tape", "Flash"};
const char *const pool_roles[] = {"Primary", "Offsite", "DR", "Clone", "LongTerm", "Staging"};
const char *const sites[] = {"dc1", "dc2", "dr", "zrh", "sao", "fra", "nyc"};
const char *const domains[] = {"example.com", "corp.example.net", "lab.example.org"};
const char *const departments[] = {"finance", "hr", "eng", "sales", "legal", "ops", "research", "support"};
const char *const workflow_themes[] = {"Filesystems",        "NAS Snapshots", "Virtual Machines", "Monthly Archive",
                                       "Server Maintenance", "Databases",     "Exchange",         "Home Directories",
                                       "Build Farm",         "Load Test"};
const char *const period_units[] = {"Days", "Weeks", "Months", "Years"};
const char *const words[] = {"nightly",
                             "backup",
                             "of",
                             "the",
                             "finance",
                             "shares",
                             "cloned",
                             "to",
                             "second",
                             "site",
                             "retain",
                             "for",
                             "audit",
                             "skip",
                             "clients",
                             "that",
                             "are",
                             "down",
                             "Zürich",
                             "office",
                             "database",
                             "dumps",
                             "weekly",
                             "full",
                             "incremental",
                             "synthetic",
                             "see",
                             "runbook",
                             "change",
                             "window",
                             "approved",
                             "by",
                             "storage",
                             "team",
                             "quarterly",
                             "restore",
                             "test",
                             "\"critical\"",
                             "São",
                             "Paulo",
                             "after",
                             "before",
                             "the",
                             "and",
                             "with",
                             "only",
                             "when",
                             "finished",
                             "legal",
                             "hold",
                             "on",
                             "mailboxes",
                             "do",
                             "not",
                             "disable",
                             "without",
                             "ticket",
                             "owner:",
                             "ops-oncall",
                             "C:\\Data\\Projects",
                             "/srv/export/home"};
const char *const week_backup_levels[] = {"full", "incr", "incr", "incr", "synth full", "skip", "incr", "txnlog"};
const char *const other_levels[] = {"exec", "exec", "exec", "exec", "skip"};
const char *const override_texts[] = {"full first friday every month",  "skip 12/25/2025",
                                      "incr last day every month",      "skip 01/01/2026",
                                      "full last saturday every month", "exec 07/04/2026"};
const char *const custom_tags[] = {"gold",       "silver", "filesystem", "sql",    "vm",  "nas",
                                   "compliance", "pci",    "gdpr",       "tier-1", "dev", "prod"};
const char *const saveset_types[] = {"filesystem", "vmware", "database", "nas", "exchange"};
const char *const levels[] = {"full", "incr", "synth full", "txnlog", "manual"};
const char *const execute_on[] = {"completion", "failure", "ignore"};
const char *const failure_impacts[] = {"continue", "abort action", "abort workflow"};
const char *const client_overrides[] = {"clientCanNotOverride", "clientCanOverride", "legacyBackupRules"};
const char *const success_thresholds[] = {"warning", "success"};
const char *const timestamp_formats[] = {"none", "iso", "unix"};
const char *const wex_save_types[] = {"VMDK", "VirtualMachine"};
const char *const run_tlog_options[] = {"abKestrelRunTlogInterval", "abKestrelRunTlogEndOfBackup"};
const char *const tier_app_options[] = {"abKestrelAppTierNone", "abKestrelAppTier2", "abKestrelAppTier3"};
const char *const saveset_selections[] = {"oldest saveset", "largest saveset", "smallest saveset", "youngest saveset"};
const char *const exercise_functions[] = {"generate", "passthru"};
const char *const force_levels[] = {"full", "incr", "synth full"};

// ---------------------------------------------------------------- values

std::string pool(Rng &rng) { return format("%s-%s-%s", rng.pick(tiers), rng.pick(media), rng.pick(pool_roles)); }

std::string storage_node(Rng &rng) {
    return format("storage-%02d.%s.%s", rng.between(1, 24), rng.pick(sites), rng.pick(domains));
}

std::string client(Rng &rng) {
    return format("%s-%04d.%s.%s", rng.pick(departments), rng.between(1, 9999), rng.pick(sites), rng.pick(domains));
}

std::string period(Rng &rng) {
    const char *unit = rng.pick(period_units);
    return format("%d %s", rng.between(1, unit[0] == 'Y' ? 10 : 30), unit);
}

std::string clock_time(Rng &rng) { return format("%02d:%02d", rng.between(0, 23), 15 * rng.between(0, 3)); }

std::string device(Rng &rng) { return format("/backup/adv_file%02d", rng.between(1, 64)); }

// Free text of 2 to 40 words, now and then a long paragraph.
std::string comment(Rng &rng) {
    int count = rng.chance(5) ? rng.between(60, 120) : rng.between(2, 40);
    std::string text;
    for (int i = 0; i < count; ++i) {
        if (i > 0) text += ' ';
        text += rng.pick(words);
    }
    text += '.';
    return text;
}

std::vector<std::string> some(Rng &rng, int lo, int hi, std::string (*make)(Rng &)) {
    std::vector<std::string> items(static_cast<std::size_t>(rng.between(lo, hi)));
    for (std::string &item : items) item = make(rng);
    return items;
}

template <std::size_t N>
std::vector<std::string> some_of(Rng &rng, int lo, int hi, const char *const (&list)[N]) {
    std::vector<std::string> items(static_cast<std::size_t>(rng.between(lo, hi)));
    for (std::string &item : items) item = rng.pick(list);
    return items;
}

void notification(Writer &w, const char *name, Rng &rng) {
    w.key(name);
    w.open_object();
    w.prop("policyCompletionNotificationExecuteOn", rng.pick(execute_on));
    w.prop("policyCompletionNotificationAction", format("/usr/local/bin/notify-ops --channel backup-%s --severity %s",
                                                        rng.pick(departments), rng.chance(50) ? "high" : "normal"));
    w.close_object();
}

// A schedule: the period, then one activity per day of it (7 for a week,
// 31 for a month, 1 for a reference schedule). Always draws the same
// numbers whatever the kind, so kinds share their common part.
void schedule(Writer &w, const char *period_name, const char *activity_name, bool backup_levels, Rng &rng) {
    uint64_t roll = rng.below(100);
    const char *which = roll < 75 ? "week" : roll < 95 ? "month" : "reference";
    int days = which[0] == 'w' ? 7 : which[0] == 'm' ? 31 : 1;
    w.prop(period_name, which);
    w.key(activity_name);
    w.open_array();
    for (int d = 0; d < days; ++d) {
        uint64_t r = rng.next();
        w.string(backup_levels ? week_backup_levels[r % std::size(week_backup_levels)]
                               : other_levels[r % std::size(other_levels)]);
    }
    w.close_array();
}

// ------------------------------------------------------- the kind records

// Whether an optional setting of the kind is written.
struct Presence {
    int percent;
    bool operator()(Rng &rng) const { return rng.chance(percent); }
};

void backup_subtype(Writer &w, int subtype, Rng &rng, Presence present) {
    w.key("actionBackupSubtypeSpecific");
    w.open_object();
    w.key("backupSubtypes");
    w.open_object();
    w.prop("abBackupSubtype", subtype_texts[subtype - 1]);
    switch (subtype) {
        case 1:  // traditional
            w.prop("abtDestinationPool", pool(rng));
            if (present(rng)) w.prop("abForceBackupLevel", rng.pick(force_levels));
            if (present(rng)) w.prop("abtBrowsePeriod", period(rng));
            if (present(rng)) w.prop("abtStrataRetentionLockTime", period(rng));
            if (present(rng)) w.prop_bool("abtEnableStrataRetentionLock", rng.chance(50));
            if (present(rng)) w.prop_bool("abtEstimate", rng.chance(20));
            if (present(rng)) w.prop_int("abtFileInactivityAlertThreshold", rng.between(0, 365));
            if (present(rng)) w.prop_int("abtFileInactivityThreshold", rng.between(0, 365));
            if (present(rng)) w.prop_bool("abtRevertToFullWhenSyntheticFullFails", rng.chance(80));
            if (present(rng)) w.prop("abtTimestampFormat", rng.pick(timestamp_formats));
            if (present(rng)) w.prop_bool("abtVerifySyntheticFull", rng.chance(60));
            break;
        case 2:  // snapshot
            w.prop("absDestinationPool", pool(rng));
            w.prop("absMinimumRetentionPeriod", period(rng));
            if (present(rng)) w.prop("abForceBackupLevel", rng.pick(force_levels));
            break;
        case 3:  // archive
            w.prop("abaDestinationPool", pool(rng));
            if (present(rng)) w.prop_bool("abaDeleteSource", rng.chance(10));
            break;
        case 4:  // vmware
            if (present(rng)) w.prop("abvDestinationPool", pool(rng));
            if (present(rng)) w.prop_bool("abvUseWexInternalStorage", rng.chance(30));
            if (present(rng))
                w.prop("abvWexName", format("wex-%02d.%s.%s", rng.between(1, 12), rng.pick(sites), rng.pick(domains)));
            if (present(rng)) w.prop("abvWexSaveType", rng.pick(wex_save_types));
            break;
        default:  // the proxy VMware backup
            if (present(rng)) w.prop("abKestrelDestinationPool", pool(rng));
            if (present(rng)) w.prop_bool("abKestrelFailBackupsOnQuiesceError", rng.chance(50));
            if (present(rng)) w.prop("abKestrelForceBackupLevel", rng.pick(force_levels));
            if (present(rng))
                w.prop("abKestrelName",
                       format("proxy-%02d.%s.%s", rng.between(1, 12), rng.pick(sites), rng.pick(domains)));
            if (present(rng)) w.prop_bool("abKestrelQuiesceApp", rng.chance(70));
            if (present(rng)) w.prop_int("abKestrelQuiesceTimeout", 60 * rng.between(1, 30));
            if (present(rng)) w.prop("abKestrelRunTlogOption", rng.pick(run_tlog_options));
            if (present(rng)) {
                w.key("abKestrelSQLTier2Props");
                w.open_object();
                if (present(rng)) w.prop("abKestrelSQLClientOverridesBehavior", rng.pick(client_overrides));
                if (present(rng)) w.prop_bool("abKestrelSQLDetectAAGFCI", rng.chance(50));
                if (present(rng)) w.prop("abKestrelSQLExcludeRuleId", format("sql-exclude-%s", rng.pick(departments)));
                if (present(rng)) {
                    w.key("abKestrelSQLactionScheduleActivity");
                    w.open_array();
                    w.string("full");
                    for (int d = 1; d < 7; ++d) w.string(rng.chance(80) ? "logs only" : "incr");
                    w.close_array();
                }
                if (present(rng)) w.prop("abKestrelSQLactionSchedulePeriod", "week");
                if (present(rng)) w.prop_bool("abKestrelSqlPromoteToFull", rng.chance(50));
                w.close_object();
            }
            if (present(rng)) w.prop("abKestrelSysAdminPassword", "example-only");
            if (present(rng)) w.prop("abKestrelSysAdminUserName", "root");
            if (present(rng)) w.prop("abKestrelTierAppAdminPassword", "example-only");
            if (present(rng)) w.prop("abKestrelTierAppAdminUserName", format("CORP\\svc-%s", rng.pick(departments)));
            if (present(rng)) w.prop("abKestrelTierAppOption", rng.pick(tier_app_options));
            if (present(rng)) w.prop_bool("abKestrelTransactionLogBackup", rng.chance(60));
            if (present(rng)) w.prop_bool("abKestrelUseAppProtection", rng.chance(60));
            if (present(rng)) w.prop_bool("abKestrelVmAppConsistentBackup", rng.chance(60));
            if (present(rng)) w.prop("abKestrelZStrataRetentionLockTime", period(rng));
            if (present(rng)) w.prop_bool("abKestrelZEnableStrataRetentionLock", rng.chance(50));
            break;
    }
    w.close_object();
    w.close_object();
}

void kind_settings(Writer &w, int kind, int subtype, Rng &rng, Presence present) {
    w.key("actionSpecific");
    w.open_object();
    w.key("actions");
    w.open_object();
    w.prop("actionType", kind_texts[kind - 1]);
    switch (kind) {
        case 1:  // backup
            backup_subtype(w, subtype, rng, present);
            w.prop_strings("abDestinationStorageNode", some(rng, 1, 4, storage_node));
            w.prop("abRetentionPeriod", period(rng));
            w.prop_bool("abOverrideRetentionPeriod", rng.chance(30));
            w.prop_bool("abOverrideBackupSchedule", rng.chance(30));
            w.prop("abClientOverridesBehavior", rng.pick(client_overrides));
            if (present(rng)) w.prop("abSuccessThreshold", rng.pick(success_thresholds));
            break;
        case 2:  // probe
            if (present(rng)) w.prop_bool("apAllProbesMustSucceed", rng.chance(50));
            break;
        case 3:  // execute
            if (present(rng))
                w.prop("aePlaceholder", format("/opt/backup/scripts/post-%s.sh --policy %s --site %s",
                                               rng.pick(departments), rng.pick(tiers), rng.pick(sites)));
            break;
        case 4:  // clone
            if (present(rng)) w.prop("acBrowsePeriod", period(rng));
            if (present(rng)) w.prop("acStrataRetentionLockTime", period(rng));
            if (present(rng)) w.prop_bool("acDeleteSource", rng.chance(10));
            if (present(rng)) w.prop("acDestinationPool", pool(rng));
            if (present(rng)) w.prop("acDestinationStorageNode", storage_node(rng));
            if (present(rng)) w.prop_bool("acEnableStrataRetentionLock", rng.chance(50));
            if (present(rng)) w.prop("acRetentionPeriod", period(rng));
            if (present(rng)) w.prop("acSourceStorageNode", storage_node(rng));
            break;
        case 5:  // discover
            w.prop("adDiscoverType", "NAS snapshot");
            break;
        case 6:  // check connectivity
            if (present(rng)) w.prop_bool("acAllClientsMustSucceed", rng.chance(40));
            break;
        case 7:  // generate index
            w.prop("agGenerateIndexType", "NAS snapshot");
            break;
        case 8:  // backup index
            if (present(rng)) w.prop("abiPlaceholder", pool(rng));
            break;
        case 9:  // expire
            if (present(rng)) w.prop("aePlaceholder", rng.chance(50) ? "all pools" : pool(rng));
            break;
        case 10:  // server backup
            if (present(rng)) w.prop("asbStrataRetentionLockTime", period(rng));
            if (present(rng)) w.prop("asbDestinationPool", pool(rng));
            if (present(rng)) w.prop("asbDestinationStorageNode", storage_node(rng));
            if (present(rng)) w.prop_bool("asbEnableStrataRetentionLock", rng.chance(50));
            if (present(rng)) w.prop_bool("asbPerformBootstrap", rng.chance(80));
            if (present(rng)) w.prop_bool("asbPerformCFI", rng.chance(80));
            if (present(rng)) w.prop("asbRetentionPeriod", period(rng));
            break;
        case 11:  // autostage
            if (present(rng)) w.prop_strings("aasDevices", some(rng, 1, 6, device));
            if (present(rng)) w.prop_int("aasHighWaterMark", rng.between(80, 95));
            if (present(rng)) w.prop_int("aasLowWaterMark", rng.between(50, 79));
            if (present(rng)) w.prop("aasMaxStoragePeriod", period(rng));
            if (present(rng)) w.prop("aasSavesetSelection", rng.pick(saveset_selections));
            break;
        case 12:  // recover space
            if (present(rng)) w.prop_strings("arsDevices", some(rng, 1, 6, device));
            break;
        case 13: {  // exercise
            auto integers = [&rng](int lo, int hi) {
                std::vector<int64_t> items(static_cast<std::size_t>(rng.between(3, 8)));
                for (int64_t &item : items) item = rng.between(lo, hi);
                return items;
            };
            w.prop("exerciseFunction", rng.pick(exercise_functions));
            if (present(rng)) w.prop_int("exerciseCount", rng.between(1, 5000));
            if (present(rng)) w.prop_integers("exerciseDelay", integers(0, 600));
            if (present(rng)) w.prop_int("exerciseDuration", rng.between(60, 86400));
            if (present(rng)) w.prop_int("exerciseFailureRate", rng.between(0, 20));
            if (present(rng)) w.prop_integers("exerciseOwiPerIwi", integers(1, 64));
            break;
        }
        case 14:  // WEX checkpoint discover: the type alone
            break;
        default:  // WEX checkpoint backup
            w.prop("wexCheckPointBackupDestinationPool", pool(rng));
            if (present(rng)) w.prop("wexCheckPointBackupRetentionPeriod", period(rng));
            break;
    }
    w.close_object();
    w.close_object();
}

struct ActionPlan {
    int kind;
    int subtype;  // for backups
    std::string name;
    const std::string *driven_by;  // the previous action's name, if any
};

// One action. `common` draws the properties every kind has, `specific`
// the kind's own.
void action(Writer &w, const ActionPlan &plan, Rng &common, Rng &specific, Presence kind_presence) {
    w.open_object();
    w.prop("actionName", plan.name);
    kind_settings(w, plan.kind, plan.subtype, specific, kind_presence);
    schedule(w, "actionSchedulePeriod", "actionScheduleActivity", plan.kind == 1 || plan.kind == 10, common);
    if (common.chance(45)) w.prop("actionComment", comment(common));
    if (common.chance(20)) notification(w, "actionCompletionNotification", common);
    if (common.chance(30)) w.prop_bool("actionConcurrent", common.chance(50));
    if (common.chance(35)) w.prop_strings("actionCustomTags", some_of(common, 1, 4, custom_tags));
    if (common.chance(70) && plan.driven_by != nullptr) w.prop("actionDrivenBy", *plan.driven_by);
    if (common.chance(40)) w.prop_bool("actionEnabled", common.chance(90));
    if (common.chance(50)) w.prop("actionFailureImpact", common.pick(failure_impacts));
    if (common.chance(15)) w.prop("actionHardLimit", clock_time(common));
    if (common.chance(30)) w.prop_int("actionInactivityTimeout", common.between(0, 120));
    if (common.chance(3)) w.prop("actionNewName", plan.name + "-renamed");
    if (common.chance(40)) w.prop_int("actionParallelism", common.between(1, 64));
    if (common.chance(40)) w.prop_int("actionRetries", common.between(0, 5));
    if (common.chance(35)) w.prop_int("actionRetryDelay", 30 * common.between(0, 40));
    if (common.chance(20)) w.prop("actionScheduleComment", comment(common));
    if (common.chance(20)) w.prop_strings("actionScheduleOverride", some_of(common, 1, 3, override_texts));
    if (common.chance(15)) w.prop("actionSoftLimit", clock_time(common));
    if (common.chance(35)) w.prop("actionStarttime", clock_time(common));
    if (common.chance(10)) {
        w.key("actionWorkItemFilter");
        w.open_object();
        if (common.chance(70)) w.prop_strings("actionWorkItemFilterClient", some(common, 1, 6, client));
        if (common.chance(70)) w.prop_bool("actionWorkItemFilterClientExclude", common.chance(50));
        if (common.chance(50)) w.prop_strings("actionWorkItemFilterLevel", some_of(common, 1, 3, levels));
        if (common.chance(50)) w.prop_bool("actionWorkItemFilterLevelExclude", common.chance(50));
        if (common.chance(50)) w.prop_strings("actionWorkItemFilterSavesetType", some_of(common, 1, 2, saveset_types));
        if (common.chance(50)) w.prop_bool("actionWorkItemFilterSavesetTypeExclude", common.chance(50));
        if (common.chance(40)) w.prop("actionWorkItemFilterTimeRangeEnd", "now");
        if (common.chance(40)) w.prop_bool("actionWorkItemFilterTimeRangeExclude", common.chance(20));
        if (common.chance(40)) w.prop("actionWorkItemFilterTimeRangeStart", format("-%d day", common.between(1, 14)));
        w.close_object();
    }
    w.close_object();
}

template <std::size_t N>
int weighted(Rng &rng, const int (&weights)[N]) {
    int roll = static_cast<int>(rng.below(100));
    for (std::size_t i = 0; i < N; ++i) {
        if (roll < weights[i]) return static_cast<int>(i) + 1;
        roll -= weights[i];
    }
    return static_cast<int>(N);
}

// The kinds and subtypes of the first actions of a policy: every kind, then
// every backup subtype, so that each document holds all of them whatever
// its size.
struct Opening {
    int kind;
    int subtype;
};
constexpr Opening opening[] = {{1, 1},  {2, 0},  {3, 0},  {4, 0},  {5, 0},  {6, 0}, {7, 0}, {8, 0}, {9, 0}, {10, 0},
                               {11, 0}, {12, 0}, {13, 0}, {14, 0}, {15, 0}, {1, 2}, {1, 3}, {1, 4}, {1, 5}};

void workflow(Writer &w, int number, uint64_t &action_number, Rng &rng) {
    int count = rng.between(5, 25);
    std::vector<ActionPlan> plans(static_cast<std::size_t>(count));
    for (ActionPlan &plan : plans) {
        if (action_number < std::size(opening)) {
            plan.kind = opening[action_number].kind;
            plan.subtype = opening[action_number].subtype;
        } else {
            plan.kind = weighted(rng, kind_weights);
            plan.subtype = plan.kind == 1 ? weighted(rng, subtype_weights) : 0;
        }
        plan.name = format("%s-%s-%06llu", kind_slugs[plan.kind - 1], rng.pick(departments),
                           static_cast<unsigned long long>(action_number));
        ++action_number;
    }
    for (std::size_t i = 1; i < plans.size(); ++i) plans[i].driven_by = &plans[i - 1].name;
    plans[0].driven_by = nullptr;

    w.open_object();
    w.prop("workflowName", format("%s %s %05d", rng.pick(tiers), rng.pick(workflow_themes), number));
    if (rng.chance(20)) w.prop_strings("synthesisRoot", {plans[0].name});
    w.key("workflowActions");
    w.open_array();
    for (const ActionPlan &plan : plans) action(w, plan, rng, rng, Presence{70});
    w.close_array();
    if (rng.chance(50)) w.prop_bool("workflowAutostartEnabled", rng.chance(80));
    if (rng.chance(40)) w.prop("workflowComment", comment(rng));
    if (rng.chance(30)) notification(w, "workflowCompletionNotification", rng);
    if (rng.chance(60)) w.prop("workflowDescription", comment(rng));
    if (rng.chance(80)) w.prop_bool("workflowEnabled", rng.chance(90));
    if (rng.chance(20)) w.prop("workflowEndtime", clock_time(rng));
    if (rng.chance(70)) {
        std::vector<std::string> groups(static_cast<std::size_t>(rng.between(1, 5)));
        for (std::string &group : groups)
            group = format("%s-%s-%s", rng.pick(tiers), rng.pick(departments), rng.pick(media));
        w.prop_strings("workflowGroups", groups);
    }
    if (rng.chance(60)) w.prop("workflowInterval", format("%02d:00", rng.between(1, 24)));
    if (rng.chance(2)) w.prop("workflowNewName", format("Renamed workflow %05d", number));
    if (rng.chance(25))
        w.prop("workflowNextstart",
               format("2026-%02d-%02dT%s:00", rng.between(1, 12), rng.between(1, 28), clock_time(rng).c_str()));
    if (rng.chance(30)) w.prop("workflowRestartWindow", format("%02d:00", rng.between(1, 12)));
    if (rng.chance(60)) w.prop("workflowStarttime", clock_time(rng));
    w.close_object();
}

}  // namespace

std::string format(const char *pattern, ...) {
    va_list args;
    va_start(args, pattern);
    va_list again;
    va_copy(again, args);
    const int needed = std::vsnprintf(nullptr, 0, pattern, args);
    va_end(args);
    std::string text(needed > 0 ? static_cast<size_t>(needed) : 0, '\0');
    if (needed > 0) std::vsnprintf(text.data(), text.size() + 1, pattern, again);
    va_end(again);
    return text;
}

const char *kind_text(int tag) { return kind_texts[tag - 1]; }
const char *kind_label(int tag) { return kind_labels[tag - 1]; }

std::string make_policy(std::size_t target_bytes, uint64_t seed) {
    Rng rng(seed);
    std::string text;
    text.reserve(target_bytes + target_bytes / 16 + 65536);
    Writer w(text);
    w.open_object();
    w.prop("policyName", format("%s-%llu", rng.pick(tiers), static_cast<unsigned long long>(target_bytes)));
    w.prop_bool("policyAllowManualSaves", true);
    w.prop_bool("policyApplyEntireWorkflow", false);
    w.prop("policyComment", comment(rng));
    w.prop_bool("policyProtectionEnable", true);
    w.prop("policyProtectionPeriod", period(rng));
    notification(w, "policySummaryNotification", rng);
    w.key("policyWorkflows");
    w.open_array();
    uint64_t action_number = 0;
    for (int number = 1; w.size() < target_bytes; ++number) workflow(w, number, action_number, rng);
    w.close_array();
    w.close_object();
    return text;
}

std::string make_action(int kind_tag, int subtype_tag, uint64_t seed) {
    Rng common(seed);
    Rng specific(seed ^ 0x5bd1e9955bd1e995ULL);
    std::string text;
    Writer w(text);
    const std::string previous = "check-clients";
    ActionPlan plan{kind_tag, kind_tag == 1 ? subtype_tag : 0, format("%s-typical", kind_slugs[kind_tag - 1]),
                    &previous};
    action(w, plan, common, specific, Presence{0});
    return text;
}

}  // namespace bench
