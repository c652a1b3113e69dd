#include "app/dialogs/SysVarsEditor.h"

#include "command/CommandTable.h"
#include "framework/PlainText.h"
#include "settings/SysVars.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QIcon>
#include <QMenu>
#include <QTableView>
#include <QVBoxLayout>

namespace {

constexpr int NUM_SYS_VARS = PREF_SHOW_LINE_NUMBERS; ///< preferences follow behind the variables
constexpr int NAME_WIDTH = 330;

bool IsValueCell(const QModelIndex& Index) { return Index.isValid() && Index.column() == CSysVarsModel::COL_VALUE; }

QString Hint(const SYS_VAR* pVar) {
    const QString sRange = SysVarRange(pVar);
    return sRange.isEmpty() || IsTextSysVar(pVar) ? QString::fromLatin1(pVar->sName)
                                                  : QStringLiteral("%1 (%2)").arg(QLatin1String(pVar->sName), sRange);
}

} // namespace

int CSysVarsModel::rowCount(const QModelIndex& Parent) const { return Parent.isValid() ? 0 : NUM_SYS_VARS; }
int CSysVarsModel::columnCount(const QModelIndex& Parent) const { return Parent.isValid() ? 0 : NUM_COLUMNS; }

QVariant CSysVarsModel::data(const QModelIndex& Index, int Role) const {
    const SYS_VAR* pVar = Index.isValid() ? GetSysVar(Index.row()) : nullptr;
    if (pVar == nullptr) {
        return {};
    }
    if (Role == Qt::ToolTipRole) {
        return Hint(pVar);
    }
    if (Role == Qt::DecorationRole && IsValueCell(Index) && IsSelectionSysVar(pVar)) {
        return QIcon(QStringLiteral(":/icons/menu-indicator-small.svg"));
    }
    if (Role != Qt::DisplayRole && Role != Qt::EditRole) {
        return {};
    }
    return Index.column() == COL_NAME ? QString::fromLatin1(pVar->sDescription) : SysVarText(pVar);
}

QVariant CSysVarsModel::headerData(int Section, Qt::Orientation Orientation, int Role) const {
    if (Orientation != Qt::Horizontal || Role != Qt::DisplayRole) {
        return {};
    }
    return Section == COL_NAME ? QStringLiteral("Name") : QStringLiteral("Value");
}

Qt::ItemFlags CSysVarsModel::flags(const QModelIndex& Index) const {
    const Qt::ItemFlags Flags = QAbstractTableModel::flags(Index);
    return IsValueCell(Index) && !IsSelectionSysVar(GetSysVar(Index.row())) ? Flags | Qt::ItemIsEditable : Flags;
}

bool CSysVarsModel::setData(const QModelIndex& Index, const QVariant& Value, int Role) {
    if (!IsValueCell(Index) || Role != Qt::EditRole) {
        return false;
    }
    const SYS_VAR* pVar = GetSysVar(Index.row());
    QString sText = Value.toString();
    if (sText == SysVarText(pVar)) {
        return true;
    }
    if (!IsTextSysVar(pVar)) {
        bool Ok = false;
        sText = QString::number(ParseSysVar(pVar, sText, &Ok)); // as a number, the echo can be pasted into a script
        if (!Ok) {
            return false;
        }
    }
    CCommandTable::Execute(CMD_EDIT_SYS_VAR, {QString::fromLatin1(pVar->sName), sText});
    emit dataChanged(Index, Index);
    return true;
}

CSysVarsEditor::CSysVarsEditor(QWidget* pParent)
    : CDialog(QStringLiteral("CSysVarsEditor"), QStringLiteral("System Variables"), QSize(620, 640), pParent),
      m_pModel(new CSysVarsModel(this)), m_pTable(new QTableView(this)) {
    m_pTable->setModel(m_pModel);
    m_pTable->verticalHeader()->hide();
    m_pTable->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_pTable->horizontalHeader()->setStretchLastSection(true);
    m_pTable->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_pTable->setColumnWidth(CSysVarsModel::COL_NAME, NAME_WIDTH);
    m_pTable->setSelectionMode(QAbstractItemView::SingleSelection);
    m_pTable->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_pTable->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
    m_pTable->setAlternatingRowColors(true);
    m_pTable->setCurrentIndex(m_pModel->index(0, CSysVarsModel::COL_VALUE));
    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addWidget(m_pTable, 1);
    pLayout->addWidget(pButtons);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::accept);
    connect(m_pTable, &QTableView::doubleClicked, this, &CSysVarsEditor::OnDoubleClicked);
    connect(m_pTable, &QTableView::activated, this, &CSysVarsEditor::OnDoubleClicked);
}

void CSysVarsEditor::OnDoubleClicked(const QModelIndex& Index) {
    const SYS_VAR* pVar = GetSysVar(Index.row());
    if (!IsValueCell(Index) || !IsSelectionSysVar(pVar)) {
        return;
    }
    QMenu Menu(this);
    for (const QString& sName : SysVarNames(pVar)) {
        QAction* pAction = Menu.addAction(EscapeMnemonic(sName));
        pAction->setData(sName);
        pAction->setCheckable(true);
        pAction->setChecked(sName == SysVarText(pVar));
    }
    const QRect Cell = m_pTable->visualRect(Index);
    if (const QAction* pChosen = Menu.exec(m_pTable->viewport()->mapToGlobal(Cell.bottomLeft()))) {
        m_pModel->setData(Index, pChosen->data(), Qt::EditRole);
    }
}
