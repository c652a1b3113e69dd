#pragma once

// The palette, light or dark, as the desktop asks for. Main thread.

#include <QObject>
#include <QPalette>

/// A palette of this program's own for either scheme.
QPalette MakeThemePalette(bool IsDark);

/// Follows the desktop: the settings portal of the session bus where there is one, else the palette of the platform.
/// The environment variable BRASK_THEME ("light", "dark") overrides both. Nothing here waits for the bus.
class CTheme : public QObject {
    Q_OBJECT

public:
    explicit CTheme(QObject* pParent);
    /// Installs the palette that is known now. To be called before the first widget is made, with the settings loaded.
    void Start();

signals:
    void Changed();

private slots:
    void OnPortalSetting(const QString& sNamespace, const QString& sKey, const class QDBusVariant& Value);

private:
    void AskPortal();
    void Apply(bool IsDark);

    bool m_IsDark = false;
    bool m_IsFixed = false; ///< by the environment variable
};
