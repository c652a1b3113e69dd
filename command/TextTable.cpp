#include "command/TextTable.h"

#include <QtGlobal>
#include <cstring>

namespace {

// clang-format off
const TEXT_ROW aTextRow[NUM_TEXT_ROWS] = {
    {0, "RM_RESET_HALT", "Reset & Halt"},
    {1, "RM_BREAK_AT_SYMBOL", "Reset & Break at Symbol"},
    {2, "RM_RESET_AND_RUN", "Reset & Run"},
    {0, "CM_DOWNLOAD_RESET", "Download & Reset Program"},
    {1, "CM_ATTACH", "Attach to Running Program"},
    {2, "CM_ATTACH_HALT", "Attach & Halt Program"},
    {0, "GO_USER", "User"},
    {1, "GO_RUN_TO", "Run To"},
    {2, "NUMBER_BASE_BINARY", "Binary"},
    {10, "NUMBER_BASE_DEC", "Decimal"},
    {16, "NUMBER_BASE_HEX", "Hexadecimal"},
    {0, "DISPLAY_FORMAT_AUTO", "Auto"},
    {2, "DISPLAY_FORMAT_BINARY", "Binary"},
    {8, "DISPLAY_FORMAT_CHAR", "Character"},
    {10, "DISPLAY_FORMAT_DEC", "Decimal"},
    {16, "DISPLAY_FORMAT_HEX", "Hexadecimal"},
    {0, "AW_AUTO", "Auto Access"},
    {1, "AW_BYTE", "Byte"},
    {2, "AW_HALF_WORD", "Half Word"},
    {4, "AW_WORD", "Word"},
    {0, "AT_READ_ONLY", "Read Only"},
    {1, "AT_WRITE_ONLY", "Write Only"},
    {2, "AT_READ_WRITE", "Read Write"},
    {3, "AT_NO_ACCESS", "No Access"},
    {0, "BP_STATE_OFF", "Off"},
    {1, "BP_STATE_ON", "On"},
    {2, "BP_STATE_ON_HIDDEN", "On Hidden"},
    {3, "BP_STATE_DISABLED", "Disabled"},
    {4, "BP_STATE_UNKNOWN", "Unknown"},
    {0, "BP_TYPE_ANY", "Any"},
    {1, "BP_TYPE_HARD", "Hard"},
    {2, "BP_TYPE_SOFT", "Soft"},
    {16, "MODE_USR", "User Mode"},
    {17, "MODE_FIQ", "Fast Interrupt Mode"},
    {18, "MODE_IRQ", "Interrupt Mode"},
    {19, "MODE_SVC", "Supervisor Mode"},
    {23, "MODE_ABT", "Abort Mode"},
    {27, "MODE_UND", "Undefined Mode"},
    {31, "MODE_SYS", "System Mode"},
    {0, "FREQ_AUTO", "Auto Speed"},
    {65535, "FREQ_ADAPTIVE", "Adaptive Speed"},
    {1, "FREQ_1_HZ", "1 Hz"},
    {2, "FREQ_2_HZ", "2 Hz"},
    {5, "FREQ_5_HZ", "5 Hz"},
    {10, "FREQ_10_HZ", "10 Hz"},
    {20, "FREQ_20_HZ", "20 Hz"},
    {50, "FREQ_50_HZ", "50 Hz"},
    {100, "FREQ_100_HZ", "100 Hz"},
    {200, "FREQ_200_HZ", "200 Hz"},
    {500, "FREQ_500_HZ", "500 Hz"},
    {1000, "FREQ_1_KHZ", "1 kHz"},
    {2000, "FREQ_2_KHZ", "2 kHz"},
    {5000, "FREQ_5_KHZ", "5 kHz"},
    {10000, "FREQ_10_KHZ", "10 kHz"},
    {20000, "FREQ_20_KHZ", "20 kHz"},
    {50000, "FREQ_50_KHZ", "50 kHz"},
    {100000, "FREQ_100_KHZ", "100 kHz"},
    {200000, "FREQ_200_KHZ", "200 kHz"},
    {500000, "FREQ_500_KHZ", "500 kHz"},
    {1000000, "FREQ_1_MHZ", "1 MHz"},
    {2000000, "FREQ_2_MHZ", "2 MHz"},
    {3000000, "FREQ_3_MHZ", "3 MHz"},
    {4000000, "FREQ_4_MHZ", "4 MHz"},
    {5000000, "FREQ_5_MHZ", "5 MHz"},
    {8000000, "FREQ_8_MHZ", "8 MHz"},
    {10000000, "FREQ_10_MHZ", "10 MHz"},
    {12000000, "FREQ_12_MHZ", "12 MHz"},
    {15000000, "FREQ_15_MHZ", "15 MHz"},
    {20000000, "FREQ_20_MHZ", "20 MHz"},
    {25000000, "FREQ_25_MHZ", "25 MHz"},
    {50000000, "FREQ_50_MHZ", "50 MHz"},
    {1, "YES", "yes"},
    {1, "ON", "on"},
    {1, "TRUE", "true"},
    {1, "ACTIVE", "active"},
    {1, "ENABLED", "enabled"},
    {1, "1", "yes"},
    {1, "0x1", "yes"},
    {0, "NO", "no"},
    {0, "OFF", "off"},
    {0, "FALSE", "false"},
    {0, "INACTIVE", "inactive"},
    {0, "DISABLED", "disabled"},
    {0, "0", "no"},
    {0, "0x0", "no"},
    {1, "USB", "USB"},
    {2, "IP", "IP"},
    {0, "JTAG", "JTAG"},
    {1, "SWD", "SWD"},
    {0, "TRACE_SOURCE_NONE", "None"},
    {1, "TRACE_SOURCE_ETM", "Trace Pins"},
    {2, "TRACE_SOURCE_ETB", "Trace Buffer"},
    {3, "TRACE_SOURCE_SWO", "SWO"},
    {0, "EOL_FORMAT_WIN", "Windows format (CR+LF)"},
    {1, "EOL_FORMAT_UNIX", "Unix format (LF)"},
    {2, "EOL_FORMAT_MAC", "Mac format (CR)"},
    {3, "EOL_FORMAT_NONE", "None"},
    {0, "ISR_THREAD", "Thread"},
    {1, "ISR_RESET", "Reset"},
    {2, "ISR_NMI", "NMI"},
    {3, "ISR_HARD_FAULT", "Hard Fault"},
    {4, "ISR_MEM_MANAGE", "Mem Manage"},
    {5, "ISR_BUS_FAULT", "Bus Fault"},
    {6, "ISR_USAGE_FAULT", "Usage Fault"},
    {7, "ISR_SECURE_FAULT", "Secure Fault"},
    {11, "ISR_SV_CALL", "SVCall"},
    {12, "ISR_DEBUG_MONITOR", "Debug Monitor"},
    {14, "ISR_PEND_SV_CALL", "PendSV"},
    {15, "ISR_SYS_TICK", "SysTick"},
    {16, "ISR_EXTERNAL_IRQ", "External IRQ"},
    {1, "DF_CORTEX_M1", "Cortex-M1"},
    {2, "DF_COLDFIRE", "ColdFire"},
    {3, "DF_CORTEX_M3", "Cortex-M3"},
    {4, "DF_SIMULATOR", "Simulator"},
    {5, "DF_XSCALE", "XScale"},
    {6, "DF_CORTEX_M0", "Cortex-M0"},
    {7, "DF_ARM7", "ARM7"},
    {8, "DF_CORTEX_A8", "Cortex-A8"},
    {9, "DF_ARM9", "ARM9"},
    {10, "DF_ARM10", "ARM10"},
    {11, "DF_ARM11", "ARM11"},
    {12, "DF_CORTEX_R4", "Cortex-R4"},
    {13, "DF_RX", "RX"},
    {14, "DF_CORTEX_M4", "Cortex-M4"},
    {15, "DF_CORTEX_A5", "Cortex-A5"},
    {16, "DF_POWER_PC", "Power PC"},
};
// clang-format on

constexpr const char* ALIAS_NAME = "RM_BREAK_AT_MAIN";
constexpr const char* ALIAS_TARGET = "RM_BREAK_AT_SYMBOL";

bool IsInGroup(const TEXT_ROW& Row, const char* sPrefix) {
    return std::strncmp(Row.sName, sPrefix, std::strlen(sPrefix)) == 0;
}

} // namespace

const TEXT_ROW* GetTextRow(int Index) { return Index >= 0 && Index < NUM_TEXT_ROWS ? &aTextRow[Index] : nullptr; }

const TEXT_ROW* FindTextRow(const QString& sName) {
    const QString sText =
        sName.compare(QLatin1String(ALIAS_NAME), Qt::CaseInsensitive) == 0 ? QString::fromLatin1(ALIAS_TARGET) : sName;
    for (const TEXT_ROW& Row : aTextRow) {
        if (sText.compare(QLatin1String(Row.sName), Qt::CaseInsensitive) == 0) {
            return &Row;
        }
    }
    return nullptr;
}

const TEXT_ROW* FindTextRowByValue(const char* sPrefix, I64 Value) {
    for (const TEXT_ROW& Row : aTextRow) {
        if (Row.Value == Value && IsInGroup(Row, sPrefix)) {
            return &Row;
        }
    }
    return nullptr;
}

bool ParseTextValue(const char* sPrefix, const QString& sText, I32* pValue) {
    const TEXT_ROW* pRow = FindTextRow(sText);
    if (pRow == nullptr || !IsInGroup(*pRow, sPrefix)) {
        bool IsNumber = false;
        const qlonglong Value = sText.toLongLong(&IsNumber, 0);
        pRow = IsNumber ? FindTextRowByValue(sPrefix, Value) : nullptr;
    }
    if (pRow == nullptr) {
        return false;
    }
    *pValue = pRow->Value;
    return true;
}

QString GetTextRowAlias(const TEXT_ROW* pRow) {
    return std::strcmp(pRow->sName, ALIAS_TARGET) == 0 ? QString::fromLatin1(ALIAS_NAME) : QString();
}

int ParseOnOff(const QString& sText) {
    // The words stand together: the yes words from "YES" on, the no words from "NO" to "0x0".
    static const TEXT_ROW* const pFirst = FindTextRow(QStringLiteral("YES"));
    static const TEXT_ROW* const pLast = FindTextRow(QStringLiteral("0x0"));
    const TEXT_ROW* pRow = FindTextRow(sText);
    return pRow != nullptr && pRow >= pFirst && pRow <= pLast ? pRow->Value : -1;
}
