#pragma once

// The configuration of probe and target: numbers, four texts, and an XML text that always says the same. Written by
// the device thread; three numbers are the storage of system variables and are written by the main thread, too. Any
// thread reads.

#include "device/DeviceTypes.h"

#include <QByteArray>
#include <QList>
#include <array>
#include <mutex>

struct DEV_CONFIG_PAIR {
    DEV_CONFIG_PARAMS Param;
    int Number;
    QByteArray sText; ///< for the texts
};

class CDeviceConfig {
public:
    CDeviceConfig();

    /// Value of a number, 0 for an index that is none.
    int GetNumber(DEV_CONFIG_PARAMS Param) const;
    /// Stores one number and nothing that follows from it. False for an index that is none.
    bool SetNumber(DEV_CONFIG_PARAMS Param, int Value);
    /// Storage of a number; null for an index that is none. Access it atomically.
    I32* NumberPtr(DEV_CONFIG_PARAMS Param);

    QByteArray GetText(DEV_CONFIG_PARAMS Param) const;
    /// Stores a text, cut to its size (256 or 2048). False for an index that is none.
    bool SetText(DEV_CONFIG_PARAMS Param, const QByteArray& sText);

    QByteArray GetXml() const;
    void RebuildXml();

    /// Reads a configuration text: one pair a value, in the order in which they are to be set; missing or unreadable
    /// values have their defaults. False with a reason if the text is no XML.
    static bool Parse(const QByteArray& sXml, QList<DEV_CONFIG_PAIR>* pPairs, QByteArray* pError);

private:
    QByteArray BuildXml() const;

    std::array<I32, DEV_CFG_NUM_COUNT> m_aNumbers;
    mutable std::mutex m_TextMutex;
    std::array<QByteArray, DEV_CFG_END - DEV_CFG_HOST_NAME> m_aTexts;
    QByteArray m_sXml;
};
