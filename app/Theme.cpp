#include "app/Theme.h"

#include "app/Ask.h"
#include "settings/Colors.h"
#include "settings/SettingsMap.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QFileInfo>
#include <QTimer>

namespace {

constexpr const char* PORTAL_SERVICE = "org.freedesktop.portal.Desktop";
constexpr const char* PORTAL_PATH = "/org/freedesktop/portal/desktop";
constexpr const char* PORTAL_INTERFACE = "org.freedesktop.portal.Settings";
constexpr const char* APPEARANCE = "org.freedesktop.appearance";
constexpr const char* COLOR_SCHEME = "color-scheme";
constexpr const char* KEY_DARK = "AppData/MainWindow/IsDark";
constexpr uint SCHEME_DARK = 1; ///< 0 no preference, 2 light

struct PALETTE_ROW {
    QPalette::ColorRole Role;
    QRgb Light;
    QRgb Dark;
};

constexpr PALETTE_ROW aPalette[] = {
    {QPalette::Window, 0xFFEFEFEF, 0xFF2B2B30},
    {QPalette::WindowText, 0xFF000000, 0xFFE4E4E4},
    {QPalette::Base, 0xFFFFFFFF, 0xFF1E1E22},
    {QPalette::AlternateBase, 0xFFF6F6F6, 0xFF26262B},
    {QPalette::Text, 0xFF000000, 0xFFE4E4E4},
    {QPalette::Button, 0xFFEFEFEF, 0xFF35353B},
    {QPalette::ButtonText, 0xFF000000, 0xFFE4E4E4},
    {QPalette::BrightText, 0xFFFFFFFF, 0xFFFFFFFF},
    {QPalette::Highlight, 0xFF308CC6, 0xFF3A6EA5},
    {QPalette::HighlightedText, 0xFFFFFFFF, 0xFFFFFFFF},
    {QPalette::ToolTipBase, 0xFFFFFFDC, 0xFF3A3A40},
    {QPalette::ToolTipText, 0xFF000000, 0xFFE4E4E4},
    {QPalette::Link, 0xFF0000EE, 0xFF7FAEFF},
    {QPalette::LinkVisited, 0xFF551A8B, 0xFFC59AFF},
    {QPalette::PlaceholderText, 0x80000000, 0x80E4E4E4},
    {QPalette::Light, 0xFFFFFFFF, 0xFF4A4A52},
    {QPalette::Midlight, 0xFFCACACA, 0xFF404047},
    {QPalette::Mid, 0xFFB8B8B8, 0xFF55555C},
    {QPalette::Dark, 0xFF9F9F9F, 0xFF1A1A1D},
    {QPalette::Shadow, 0xFF767676, 0xFF000000},
};

constexpr PALETTE_ROW aDisabled[] = {
    {QPalette::WindowText, 0xFF8A8A8A, 0xFF80808A},
    {QPalette::Text, 0xFF8A8A8A, 0xFF80808A},
    {QPalette::ButtonText, 0xFF8A8A8A, 0xFF80808A},
    {QPalette::Highlight, 0xFF919191, 0xFF4A4A52},
};

/// A bus that runs already: asking for one that doesn't could start it.
bool HasSessionBus() {
    return !IsUnattended() && (qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS") ||
                               QFileInfo::exists(qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus")));
}

} // namespace

QPalette MakeThemePalette(bool IsDark) {
    QPalette Palette;
    for (const PALETTE_ROW& Row : aPalette) {
        Palette.setColor(Row.Role, QColor::fromRgba(IsDark ? Row.Dark : Row.Light));
    }
    for (const PALETTE_ROW& Row : aDisabled) {
        Palette.setColor(QPalette::Disabled, Row.Role, QColor::fromRgba(IsDark ? Row.Dark : Row.Light));
    }
    return Palette;
}

CTheme::CTheme(QObject* pParent) : QObject(pParent) {}

void CTheme::Start() {
    const QByteArray sFixed = qgetenv("BRASK_THEME").toLower();
    m_IsFixed = sFixed == "dark" || sFixed == "light";
    // What the desktop said last time holds until it answers, so that a dark desktop doesn't see a light window first.
    m_IsDark = m_IsFixed ? sFixed == "dark" : IsPaletteDark() || ReadSetting(QLatin1String(KEY_DARK)).toBool();
    QApplication::setPalette(MakeThemePalette(m_IsDark));
    if (!m_IsFixed && HasSessionBus()) {
        QTimer::singleShot(0, this, &CTheme::AskPortal);
    }
}

void CTheme::AskPortal() {
    QDBusConnection Bus = QDBusConnection::sessionBus();
    if (!Bus.isConnected()) {
        return;
    }
    Bus.connect(QLatin1String(PORTAL_SERVICE), QLatin1String(PORTAL_PATH), QLatin1String(PORTAL_INTERFACE),
                QStringLiteral("SettingChanged"), this, SLOT(OnPortalSetting(QString, QString, QDBusVariant)));
    QDBusMessage Call = QDBusMessage::createMethodCall(QLatin1String(PORTAL_SERVICE), QLatin1String(PORTAL_PATH),
                                                       QLatin1String(PORTAL_INTERFACE), QStringLiteral("Read"));
    Call << QString::fromLatin1(APPEARANCE) << QString::fromLatin1(COLOR_SCHEME);
    auto* pWatcher = new QDBusPendingCallWatcher(Bus.asyncCall(Call), this);
    connect(pWatcher, &QDBusPendingCallWatcher::finished, this, [this, pWatcher] {
        const QDBusPendingReply<QDBusVariant> Reply = *pWatcher;
        if (!Reply.isError()) {
            // The portal wraps the value in a variant of its own.
            const QVariant Value = Reply.value().variant();
            OnPortalSetting(QLatin1String(APPEARANCE), QLatin1String(COLOR_SCHEME),
                            Value.canConvert<QDBusVariant>() ? Value.value<QDBusVariant>() : QDBusVariant(Value));
        }
        pWatcher->deleteLater();
    });
}

void CTheme::OnPortalSetting(const QString& sNamespace, const QString& sKey, const QDBusVariant& Value) {
    if (sNamespace == QLatin1String(APPEARANCE) && sKey == QLatin1String(COLOR_SCHEME)) {
        Apply(Value.variant().toUInt() == SCHEME_DARK);
    }
}

void CTheme::Apply(bool IsDark) {
    if (IsDark != m_IsDark && !m_IsFixed) {
        m_IsDark = IsDark;
        WriteSetting(QLatin1String(KEY_DARK), IsDark);
        QApplication::setPalette(MakeThemePalette(IsDark));
        emit Changed();
    }
}
