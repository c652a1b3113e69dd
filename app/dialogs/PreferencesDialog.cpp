#include "app/dialogs/PreferencesDialog.h"

#include "app/dialogs/PreferencePages.h"
#include "app/dialogs/SettingBoxes.h"
#include "settings/SettingsMap.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QTreeWidget>

namespace {

constexpr int TREE_WIDTH = 220;
constexpr const char* RECENT_PAGE = "RecentPageID";

QString Label(const PREFERENCE_ITEM& Item) {
    switch (Item.Kind) {
    case PK_VARIABLE:
        return QString::fromLatin1(GetSysVar(Item.Id)->sDescription);
    case PK_COLOR:
        return QString::fromLatin1(aColorRow[Item.Id].sLabel);
    default:
        return QString::fromLatin1(aFontRow[Item.Id].sLabel);
    }
}

/// Labels of fonts are only told apart by what the font is for.
QString ToolTip(const PREFERENCE_ITEM& Item) {
    switch (Item.Kind) {
    case PK_VARIABLE:
        return QString::fromLatin1(GetSysVar(Item.Id)->sName);
    case PK_COLOR:
        return QString::fromLatin1(aColorRow[Item.Id].sToolTip);
    default:
        return QString::fromLatin1(aFontRow[Item.Id].sToolTip);
    }
}

const char* SectionTitle(PREFERENCE_KIND Kind) {
    return Kind == PK_COLOR ? "Colors" : (Kind == PK_FONT ? "Fonts" : "Settings");
}

} // namespace

CPreferencesDialog::CPreferencesDialog(QWidget* pParent)
    : CDialog(QStringLiteral("CPreferencesDialog"), QStringLiteral("Preferences"), QSize(820, 560), pParent),
      m_pTree(new QTreeWidget(this)), m_pPages(new QStackedWidget(this)) {
    m_pTree->setHeaderHidden(true);
    m_pTree->setFixedWidth(TREE_WIDTH);
    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    QPushButton* pReset = pButtons->addButton(QStringLiteral("Reset Page"), QDialogButtonBox::ResetRole);
    pReset->setToolTip(QStringLiteral("Takes every setting of this page to its default"));
    auto* pMiddle = new QHBoxLayout;
    pMiddle->addWidget(m_pTree);
    pMiddle->addWidget(m_pPages, 1);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addLayout(pMiddle, 1);
    pLayout->addWidget(pButtons);
    connect(pButtons, &QDialogButtonBox::accepted, this, &CPreferencesDialog::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(pReset, &QPushButton::clicked, this, [this] {
        for (CSettingBox* pBox : m_pPages->currentWidget()->findChildren<CSettingBox*>()) {
            pBox->Reset();
        }
    });
    MakePages();
}

void CPreferencesDialog::MakePages() {
    QTreeWidgetItem* pParent = nullptr;
    QList<QTreeWidgetItem*> Items;
    for (const PREFERENCE_PAGE& Page : GetPreferencePages()) {
        auto* pItem = Page.Level == 0 ? new QTreeWidgetItem(m_pTree) : new QTreeWidgetItem(pParent);
        pParent = Page.Level == 0 ? pItem : pParent;
        pItem->setText(0, QString::fromLatin1(Page.sTitle));
        pItem->setData(0, Qt::UserRole, Items.size());
        Items.append(pItem);
        m_pPages->addWidget(MakePage(Page));
    }
    m_pTree->expandAll();
    connect(m_pTree, &QTreeWidget::currentItemChanged, this,
            [this](const QTreeWidgetItem* pItem) { m_pPages->setCurrentIndex(pItem->data(0, Qt::UserRole).toInt()); });
    const int Recent = ReadSetting(SettingKey(QLatin1String(RECENT_PAGE)), 1).toInt();
    m_pTree->setCurrentItem(Items.value(Recent, Items[1]));
}

CSettingBox* CPreferencesDialog::MakeBox(int Kind, int Id, QWidget* pParent) const {
    switch (Kind) {
    case PK_VARIABLE:
        return new CVariableBox(Id, pParent);
    case PK_COLOR:
        return new CColorBox(Id, pParent);
    default:
        return new CFontBox(Id, pParent);
    }
}

QWidget* CPreferencesDialog::MakePage(const PREFERENCE_PAGE& Page) {
    auto* pScroll = new QScrollArea(m_pPages);
    pScroll->setWidgetResizable(true);
    pScroll->setFrameShape(QFrame::NoFrame);
    auto* pContent = new QWidget(pScroll);
    auto* pForm = new QFormLayout(pContent);
    pForm->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    QFont HeadFont = font();
    HeadFont.setBold(true);
    int Section = -1;
    for (const PREFERENCE_ITEM& Item : Page.Items) {
        if (Section != Item.Kind) {
            auto* pHead = new QLabel(QString::fromLatin1(SectionTitle(Item.Kind)), pContent);
            pHead->setFont(HeadFont);
            pForm->addRow(pHead);
            Section = Item.Kind;
        }
        auto* pLabel = new QLabel(Label(Item), pContent);
        pLabel->setToolTip(ToolTip(Item));
        CSettingBox* pBox = MakeBox(Item.Kind, Item.Id, pContent);
        m_Boxes.append(pBox);
        pForm->addRow(pLabel, pBox);
    }
    if (Page.Items.empty()) {
        pForm->addRow(new QLabel(QStringLiteral("Choose a page on the left."), pContent));
    }
    pScroll->setWidget(pContent);
    return pScroll;
}

void CPreferencesDialog::accept() {
    for (CSettingBox* pBox : std::as_const(m_Boxes)) {
        if (pBox->IsChanged()) {
            m_HasChangedFont = m_HasChangedFont || qobject_cast<CFontBox*>(pBox) != nullptr;
            pBox->Apply();
        }
    }
    CDialog::accept();
}

void CPreferencesDialog::done(int Result) {
    WriteSetting(SettingKey(QLatin1String(RECENT_PAGE)), m_pPages->currentIndex());
    CDialog::done(Result);
}
