#include "device/JobTable.h"

#include "device/JobViewsBreak.h"
#include "device/JobViewsConfig.h"
#include "device/JobViewsMem.h"
#include "device/JobViewsRegs.h"
#include "device/JobViewsRun.h"

#include <array>

namespace {

constexpr U8 RING_CONTROL = 0; ///< and writes
constexpr U8 RING_READS = 1;
constexpr U8 RING_BACKGROUND = 2;
constexpr U32 DEFAULT_TIMEOUT_MS = 5'000;

template <class VIEW> constexpr JOB_TYPE_ROW Row(const char* sName, U8 Ring, U32 TimeoutMs = DEFAULT_TIMEOUT_MS) {
    return {VIEW::TYPE_ID, sName, Ring, VIEW::NEEDS_BUF, TimeoutMs, VIEW::Run, VIEW::Done, VIEW::Failed};
}

// View, name, ring, time-out of a wait in ms.
constexpr JOB_TYPE_ROW aRow[] = {
    Row<CONNECT_JOB>("JT_CONNECT", RING_CONTROL, 120'000),
    Row<DISCONNECT_JOB>("JT_DISCONNECT", RING_CONTROL),
    Row<RESET_JOB>("JT_RESET", RING_CONTROL, 60'000),
    Row<HALT_JOB>("JT_HALT", RING_CONTROL),
    Row<CONTINUE_JOB>("JT_CONTINUE", RING_CONTROL),
    Row<STEP_INST_JOB>("JT_STEP_INST", RING_CONTROL),
    Row<STEP_INTO_JOB>("JT_STEP_INTO", RING_CONTROL),
    Row<STEP_OVER_JOB>("JT_STEP_OVER", RING_CONTROL),
    Row<STEP_OUT_JOB>("JT_STEP_OUT", RING_CONTROL),
    Row<RUN_TO_JOB>("JT_RUN_TO", RING_CONTROL),
    Row<EXEC_NOVIK_CMD_JOB>("JT_EXEC_NOVIK_CMD", RING_CONTROL, 60'000),
    Row<SET_BP_JOB>("JT_SET_BP", RING_CONTROL),
    Row<SET_BPS_JOB>("JT_SET_BPS", RING_CONTROL),
    Row<CLEAR_BP_JOB>("JT_CLEAR_BP", RING_CONTROL),
    Row<CLEAR_BPS_JOB>("JT_CLEAR_BPS", RING_CONTROL),
    Row<CLEAR_ALL_BPS_JOB>("JT_CLEAR_ALL_BPS", RING_CONTROL),
    Row<RESET_BPS_JOB>("JT_RESET_BPS", RING_CONTROL),
    Row<SET_WPS_JOB>("JT_SET_WPS", RING_CONTROL),
    Row<CLEAR_WPS_JOB>("JT_CLEAR_WPS", RING_CONTROL),
    Row<CLEAR_ALL_WPS_JOB>("JT_CLEAR_ALL_WPS", RING_CONTROL),
    Row<READ_REG_JOB>("JT_READ_REG", RING_READS),
    Row<WRITE_REG_JOB>("JT_WRITE_REG", RING_CONTROL),
    Row<READ_CP_REG_JOB>("JT_READ_CP_REG", RING_READS),
    Row<WRITE_CP_REG_JOB>("JT_WRITE_CP_REG", RING_CONTROL),
    Row<READ_REGS_JOB>("JT_READ_REGS", RING_READS),
    Row<END_DOWNLOAD_JOB>("JT_END_DOWNLOAD", RING_CONTROL, 120'000),
    Row<READ_MEM_JOB>("JT_READ_MEM", RING_READS, 10'000),
    Row<WRITE_MEM_JOB>("JT_WRITE_MEM", RING_CONTROL, 120'000),
    Row<WRITE_MEM_MULTIPLE_JOB>("JT_WRITE_MEM_MULTIPLE", RING_CONTROL),
    Row<RESET_TARGET_EXEC_STATE_JOB>("JT_RESET_TARGET_EXEC_STATE", RING_CONTROL),
    Row<SET_TARGET_EXEC_STATE_JOB>("JT_SET_TARGET_EXEC_STATE", RING_CONTROL),
    Row<READ_LOCATION_JOB>("JT_READ_LOCATION", RING_READS),
    Row<READ_LOCS_JOB>("JT_READ_LOCS", RING_READS),
    Row<WRITE_LOCATION_JOB>("JT_WRITE_LOCATION", RING_CONTROL),
    Row<DISASS_INSTS_JOB>("JT_DISASS_INSTS", RING_READS),
    Row<DISASS_ARANGE_JOB>("JT_DISASS_ARANGE", RING_READS),
    Row<DISASS_ARANGES_JOB>("JT_DISASS_ARANGES", RING_READS),
    Row<CONFIGURE_JOB>("JT_CONFIGURE", RING_CONTROL, 60'000),
    Row<SET_CONFIG_PARAM_JOB>("JT_SET_CONFIG_PARAM", RING_CONTROL),
    Row<GET_DEVICE_INFO_JOB>("JT_GET_DEVICE_INFO", RING_READS),
};

// By type. What is no job is a read by its ring, so that queries for wildcards look there.
constexpr auto aByType = [] {
    std::array<JOB_TYPE_ROW, JT_LAST + 1> aRows{};
    for (U32 Type = 0; Type <= JT_LAST; Type++) {
        aRows[Type] = {Type, "Unknown", RING_READS, 0, DEFAULT_TIMEOUT_MS};
    }
    aRows[JT_NONE].Ring = RING_BACKGROUND;
    aRows[JT_LAST].Ring = RING_BACKGROUND;
    aRows[JT_LAST].sName = "Last";
    for (const JOB_TYPE_ROW& Row : aRow) {
        aRows[Row.Type] = Row;
    }
    return aRows;
}();

} // namespace

const JOB_TYPE_ROW& GetJobTypeRow(U32 Type) { return aByType[Type <= JT_LAST ? Type : U32(JT_NONE)]; }

const char* GetJobTypeName(U32 Type) { return GetJobTypeRow(Type).sName; }
