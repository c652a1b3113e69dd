#include "device/DeviceConfig.h"

#include <atomic>
#include <cstdlib>
#include <iterator>
#include <rapidxml/rapidxml.hpp>
#include <rapidxml/rapidxml_print.hpp>
#include <string>

namespace {

using XML_NODE = rapidxml::xml_node<>;

constexpr int MAX_XML_DEPTH = 1000; ///< the parser recurses; 100,000 levels would overflow its stack
constexpr int HZ_PER_KHZ = 1000;
constexpr int MAX_SPEED_KHZ = 2000000; ///< the speed in Hz must fit into 31 bits
constexpr qsizetype NAME_SIZE = 256;
constexpr qsizetype PATH_SIZE = 2048;
constexpr const char* DEFAULT_HOST_NAME = "192.168.1.100";

struct KEY_ROW {
    const char* sGroup;
    const char* sKey;
    DEV_CONFIG_PARAMS Param;
};

// In the order of the written text.
const KEY_ROW _aWritten[] = {
    {"HostInterface", "ConnectMode", DEV_CFG_HOST_IF},
    {"HostInterface", "USBSerialNo", DEV_CFG_USB_SN},
    {"HostInterface", "HostName", DEV_CFG_HOST_NAME},
    {"HostInterface", "UseSerialNo", DEV_CFG_USE_SN},
    {"TargetDevice", "CoreIndex", DEV_CFG_CORE_INDEX},
    {"TargetDevice", "Endian", DEV_CFG_ENDIAN},
    {"TargetDevice", "DeviceName", DEV_CFG_DEVICE_NAME},
    {"TargetInterface", "TargetIF", DEV_CFG_TARGET_IF},
    {"TargetInterface", "DRPre", DEV_CFG_DR_PRE},
    {"TargetInterface", "IRPre", DEV_CFG_IR_PRE},
    {"TargetInterface", "MultipleTargets", DEV_CFG_MULTI_TARGET},
    {"TargetInterface", "Speed", DEV_CFG_SPEED},
    {"TargetInterface", "UseAdaptive", DEV_CFG_ADAPTIVE},
    {"TargetInterface", "UseMaxSpeed", DEV_CFG_MAX_SPEED},
};

struct READ_ROW {
    const char* sKey;
    DEV_CONFIG_PARAMS Param;
    int Default;
};

// In the order in which the values are set: what one value changes in another must come before that one's own.
const READ_ROW _aRead[] = {
    {"ConnectMode", DEV_CFG_HOST_IF, 1},
    {"TargetIF", DEV_CFG_TARGET_IF, 1},
    {"USBSerialNo", DEV_CFG_USB_SN, 0},
    {"UseSerialNo", DEV_CFG_USE_SN, 0},
    {"DeviceName", DEV_CFG_DEVICE, -1},
    {"CoreIndex", DEV_CFG_CORE_INDEX, 0},
    {"Endian", DEV_CFG_ENDIAN, 0},
    {"DRPre", DEV_CFG_DR_PRE, 0},
    {"IRPre", DEV_CFG_IR_PRE, 0},
    {"MultipleTargets", DEV_CFG_MULTI_TARGET, 0},
    {"Speed", DEV_CFG_SPEED, 0},
    {"UseAdaptive", DEV_CFG_ADAPTIVE, 0},
    {"UseMaxSpeed", DEV_CFG_MAX_SPEED, 0},
    {"HostName", DEV_CFG_HOST_NAME, 0},
    {"DeviceName", DEV_CFG_DEVICE_NAME, 0},
};

bool IsTextParam(DEV_CONFIG_PARAMS Param) { return Param >= DEV_CFG_HOST_NAME && Param < DEV_CFG_END; }

// Upper limit of the nesting depth; angle brackets inside comments may raise it, never lower it.
int XmlDepth(const QByteArray& sXml) {
    int Depth = 0;
    int MaxDepth = 0;
    for (qsizetype i = 0; i + 1 < sXml.size(); i++) {
        if (sXml[i] == '<' && sXml[i + 1] == '/') {
            Depth--;
        } else if (sXml[i] == '<' && sXml[i + 1] != '!' && sXml[i + 1] != '?') {
            MaxDepth = std::max(MaxDepth, ++Depth);
        } else if (sXml[i] == '/' && sXml[i + 1] == '>') {
            Depth--;
        }
    }
    return MaxDepth;
}

const XML_NODE* FindBelow(const XML_NODE* pParent, const char* sName) {
    for (const XML_NODE* pNode = pParent->first_node(); pNode; pNode = pNode->next_sibling()) {
        if (qstrcmp(pNode->name(), sName) == 0) {
            return pNode;
        }
        if (const XML_NODE* pFound = FindBelow(pNode, sName)) {
            return pFound;
        }
    }
    return nullptr;
}

int ReadNumber(const XML_NODE* pNode, int Default) {
    if (!pNode || pNode->value_size() == 0) {
        return Default;
    }
    char* pEnd = nullptr;
    const unsigned long Value = std::strtoul(pNode->value(), &pEnd, 0);
    return pEnd == pNode->value() ? Default : int(U32(Value));
}

DEV_CONFIG_PAIR ReadPair(const XML_NODE* pRoot, const READ_ROW& Row) {
    const XML_NODE* pNode = FindBelow(pRoot, Row.sKey);
    DEV_CONFIG_PAIR Pair{Row.Param, Row.Default, QByteArray()};
    if (IsTextParam(Row.Param) || Row.Param == DEV_CFG_DEVICE) {
        Pair.sText = pNode ? QByteArray(pNode->value()) : QByteArray();
        if (Row.Param != DEV_CFG_HOST_NAME) {
            Pair.sText.replace("\"", "");
        }
    } else {
        Pair.Number = ReadNumber(pNode, Row.Default);
    }
    if (Row.Param == DEV_CFG_SPEED) {
        Pair.Number = std::clamp(Pair.Number, 0, MAX_SPEED_KHZ) * HZ_PER_KHZ;
    }
    return Pair;
}

QByteArray Quoted(const QByteArray& sName) {
    const bool IsQuoted = sName.startsWith('"') && sName.endsWith('"');
    return sName.contains(' ') && !IsQuoted && sName.size() + 2 <= NAME_SIZE ? '"' + sName + '"' : sName;
}

} // namespace

CDeviceConfig::CDeviceConfig() : m_aNumbers{} {
    m_aNumbers[DEV_CFG_DEVICE] = -1;
    m_aNumbers[DEV_CFG_HOST_IF] = 1;
    m_aNumbers[DEV_CFG_MAX_SPEED] = 1;
    m_aNumbers[DEV_CFG_STEPPING_MODE] = 6;
    m_aNumbers[DEV_CFG_BREAK_ADDR] = -1;
    m_aTexts[0] = DEFAULT_HOST_NAME;
    RebuildXml();
}

I32* CDeviceConfig::NumberPtr(DEV_CONFIG_PARAMS Param) {
    return Param >= 0 && Param < DEV_CFG_NUM_COUNT ? &m_aNumbers[size_t(Param)] : nullptr;
}

int CDeviceConfig::GetNumber(DEV_CONFIG_PARAMS Param) const {
    I32* pValue = const_cast<CDeviceConfig*>(this)->NumberPtr(Param);
    return pValue ? std::atomic_ref(*pValue).load(std::memory_order_acquire) : 0;
}

bool CDeviceConfig::SetNumber(DEV_CONFIG_PARAMS Param, int Value) {
    I32* pValue = NumberPtr(Param);
    if (pValue) {
        std::atomic_ref(*pValue).store(Value, std::memory_order_release);
    }
    return pValue != nullptr;
}

QByteArray CDeviceConfig::GetText(DEV_CONFIG_PARAMS Param) const {
    std::lock_guard Lock(m_TextMutex);
    return IsTextParam(Param) ? m_aTexts[size_t(Param - DEV_CFG_HOST_NAME)] : QByteArray();
}

bool CDeviceConfig::SetText(DEV_CONFIG_PARAMS Param, const QByteArray& sText) {
    if (!IsTextParam(Param)) {
        return false;
    }
    const bool IsName = Param == DEV_CFG_HOST_NAME || Param == DEV_CFG_DEVICE_NAME;
    std::lock_guard Lock(m_TextMutex);
    // Always a copy of its own: the argument's buffer may belong to another thread's string.
    m_aTexts[size_t(Param - DEV_CFG_HOST_NAME)] =
        QByteArray(sText.constData(), std::min(sText.size(), IsName ? NAME_SIZE : PATH_SIZE));
    return true;
}

QByteArray CDeviceConfig::GetXml() const {
    std::lock_guard Lock(m_TextMutex);
    return m_sXml;
}

void CDeviceConfig::RebuildXml() {
    const QByteArray sXml = BuildXml();
    std::lock_guard Lock(m_TextMutex);
    m_sXml = sXml;
}

QByteArray CDeviceConfig::BuildXml() const {
    rapidxml::xml_document<> Doc;
    XML_NODE* pRoot = Doc.allocate_node(rapidxml::node_element, "NovikSettings");
    Doc.append_node(pRoot);
    for (const KEY_ROW& Row : _aWritten) {
        XML_NODE* pGroup = pRoot->first_node(Row.sGroup);
        if (!pGroup) {
            pGroup = Doc.allocate_node(rapidxml::node_element, Row.sGroup);
            pRoot->append_node(pGroup);
        }
        QByteArray sValue;
        if (IsTextParam(Row.Param)) {
            sValue = GetText(Row.Param);
            sValue = Row.Param == DEV_CFG_DEVICE_NAME ? Quoted(sValue) : sValue;
        } else if (const int Value = GetNumber(Row.Param); Row.Param == DEV_CFG_SPEED) {
            sValue = Value ? QByteArray::number(Value / HZ_PER_KHZ) : QByteArray("auto");
        } else if (Value >= 0) {
            sValue = "0x" + QByteArray::number(Value, 16).toUpper();
        }
        pGroup->append_node(
            Doc.allocate_node(rapidxml::node_element, Row.sKey, Doc.allocate_string(sValue.constData())));
    }
    std::string sText;
    rapidxml::print(std::back_inserter(sText), static_cast<const XML_NODE&>(Doc), 0);
    return QByteArray::fromStdString(sText).replace("&quot;", "\"");
}

bool CDeviceConfig::Parse(const QByteArray& sXml, QList<DEV_CONFIG_PAIR>* pPairs, QByteArray* pError) {
    if (XmlDepth(sXml) > MAX_XML_DEPTH) {
        *pError = "elements nested too deeply";
        return false;
    }
    // The parser works in place and its nodes point into the text.
    QByteArray sCopy(sXml.constData(), sXml.size());
    sCopy.replace('\0', ' ');
    rapidxml::xml_document<> Doc;
    try {
        Doc.parse<0>(sCopy.data());
    } catch (const rapidxml::parse_error& Error) {
        *pError = Error.what();
        return false;
    }
    if (!Doc.first_node()) {
        *pError = "no root element";
        return false;
    }
    for (const READ_ROW& Row : _aRead) {
        pPairs->append(ReadPair(Doc.first_node(), Row));
    }
    return true;
}
