#pragma once

// One setting of the preferences dialog each, with its editor and a button that takes it back to its default. Nothing
// is changed until the dialog is accepted: a box only holds what the user has chosen. Main thread.

#include "settings/Colors.h"
#include "settings/Fonts.h"
#include "settings/SysVars.h"

#include <QWidget>

class QCheckBox;
class QComboBox;
class QHBoxLayout;
class QLineEdit;
class QPushButton;

class CSettingBox : public QWidget {
    Q_OBJECT

public:
    explicit CSettingBox(QWidget* pParent);

    /// True if the user's choice differs from the value in force.
    virtual bool IsChanged() const = 0;
    /// Makes the choice the value in force, through the command table.
    virtual void Apply() = 0;
    virtual void Reset() = 0;

protected:
    void AddResetButton(const QString& sDefault);
    QHBoxLayout* m_pLayout;
};

/// A preference: a check box for yes and no, a list for other selections, an edit box for a range.
class CVariableBox : public CSettingBox {
    Q_OBJECT

public:
    CVariableBox(int VarId, QWidget* pParent);

    int GetVarId() const { return m_VarId; }
    QString GetValueText() const;
    /// Shows a value, by its number.
    void SetValue(I32 Value);
    bool IsChanged() const override;
    void Apply() override;
    void Reset() override;

signals:
    void VariableChanged(int Value);

private:
    I32 GetValue(bool* pOk) const;

    int m_VarId;
    QCheckBox* m_pCheck = nullptr;
    QComboBox* m_pList = nullptr;
    QLineEdit* m_pEdit = nullptr;
};

class CColorBox : public CSettingBox {
    Q_OBJECT

public:
    CColorBox(int ColorId, QWidget* pParent);

    int GetColorId() const { return m_ColorId; }
    /// ARGB or a marker.
    void SetValue(U32 Value);
    U32 GetValue() const { return m_Value; }
    bool IsChanged() const override;
    void Apply() override;
    void Reset() override;

private:
    void Select();

    int m_ColorId;
    U32 m_Value;
    QPushButton* m_pSelect;
};

class CFontBox : public CSettingBox {
    Q_OBJECT

public:
    CFontBox(int FontId, QWidget* pParent);

    int GetFontId() const { return m_FontId; }
    void SetValue(const QFont& Font);
    bool IsChanged() const override;
    void Apply() override;
    void Reset() override;

private:
    void Select();
    void ShowValue();

    int m_FontId;
    QFont m_Font;
    bool m_IsReset = false; ///< the entry is to be forgotten
    QPushButton* m_pSelect;
};
