#include "app/dialogs/CommandPalette.h"

#include "command/FuzzyMatch.h"
#include "settings/Colors.h"
#include "settings/Fonts.h"

#include <QFormLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QStackedWidget>
#include <QTimer>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>

namespace {

constexpr QSize SIZE(760, 420);
constexpr int TOP_DISTANCE = 60;
constexpr int NAME_WIDTH = 210;
constexpr int ARGS_WIDTH = 150;
constexpr int HOT_KEY_WIDTH = 100;

/// Types and names of a prototype's parameters: "unsigned int Addr".
QStringList Parameters(const COMMAND_ROW& Row) {
    const qsizetype Open = Row.Prototype.indexOf(QLatin1Char('('));
    const QString sList = Row.Prototype.mid(Open + 1, Row.Prototype.lastIndexOf(QLatin1Char(')')) - Open - 1).trimmed();
    return Open < 0 || sList.isEmpty() || sList == QLatin1String("void")
               ? QStringList()
               : sList.split(QRegularExpression(QStringLiteral("\\s*,\\s*")));
}

} // namespace

QString GetPaletteName(const COMMAND_ROW& Row) {
    QString sName = CCommandTable::GetName(Row.Id);
    if (!sName.isEmpty()) {
        return sName;
    }
    static const QRegularExpression WordStart(QStringLiteral("(?<=[a-z])(?=[A-Z])"));
    return QString(Row.ActionName).remove(QStringLiteral("action")).replace(WordStart, QStringLiteral(" "));
}

CCommandPaletteModel::CCommandPaletteModel(QObject* pParent) : QAbstractTableModel(pParent) { SetPattern(QString()); }

void CCommandPaletteModel::SetPattern(const QString& sPattern) {
    struct HIT {
        int Score;
        QString sName;
        U32 Id;
    };
    QList<HIT> Hits;
    for (U32 Id = 0; Id < CMD_COUNT; ++Id) {
        const COMMAND_ROW Row = CCommandTable::GetRow(Id);
        const QString sName = GetPaletteName(Row);
        const int Score = Row.IsPublic != 0 ? FuzzyScore(sPattern, sName) : -1;
        if (Score >= 0) {
            Hits.append({Score, sName, Id});
        }
    }
    std::sort(Hits.begin(), Hits.end(),
              [](const HIT& a, const HIT& b) { return a.Score != b.Score ? a.Score > b.Score : a.sName < b.sName; });
    beginResetModel();
    m_Shown.clear();
    for (const HIT& Hit : Hits) {
        m_Shown.append(Hit.Id);
    }
    endResetModel();
}

int CCommandPaletteModel::rowCount(const QModelIndex& Parent) const {
    return Parent.isValid() ? 0 : static_cast<int>(m_Shown.size());
}

int CCommandPaletteModel::columnCount(const QModelIndex& Parent) const { return Parent.isValid() ? 0 : NUM_COLUMNS; }

QVariant CCommandPaletteModel::data(const QModelIndex& Index, int Role) const {
    if (!Index.isValid()) {
        return {};
    }
    const COMMAND_ROW Row = CCommandTable::GetRow(m_Shown[Index.row()]);
    if (Role == Qt::ForegroundRole && (Row.pAction == nullptr || !CCommandTable::IsAvailable(Row.Id, false))) {
        return GetColor(COLOR_TABLE_ITEM_INACTIVE);
    }
    if (Role != Qt::DisplayRole && Role != Qt::ToolTipRole) {
        return {};
    }
    switch (Index.column()) {
    case COL_NAME:
        return GetPaletteName(Row);
    case COL_ARGS:
        return Row.ArgNames;
    case COL_HOT_KEY:
        return QKeySequence(Row.HotKey).toString(QKeySequence::NativeText);
    default:
        return Row.LongHelp;
    }
}

CCommandPalette::CCommandPalette(QWidget* pParent)
    : QDialog(pParent, Qt::Dialog | Qt::FramelessWindowHint), m_pModel(new CCommandPaletteModel(this)),
      m_pPages(new QStackedWidget(this)), m_pPattern(new QLineEdit(this)), m_pList(new QTreeView(this)),
      m_pPrompt(new QLabel(this)), m_pForm(new QFormLayout) {
    setObjectName(QStringLiteral("CCommandPalette"));
    setFont(GetFont(FONT_APP));
    resize(SIZE);
    m_pPattern->setPlaceholderText(QStringLiteral("Command: a few letters of its name"));
    m_pPattern->installEventFilter(this);
    m_pList->setModel(m_pModel);
    m_pList->setRootIsDecorated(false);
    m_pList->setHeaderHidden(true);
    m_pList->setUniformRowHeights(true);
    m_pList->setFocusPolicy(Qt::NoFocus);
    m_pList->setColumnWidth(CCommandPaletteModel::COL_NAME, NAME_WIDTH);
    m_pList->setColumnWidth(CCommandPaletteModel::COL_ARGS, ARGS_WIDTH);
    m_pList->setColumnWidth(CCommandPaletteModel::COL_HOT_KEY, HOT_KEY_WIDTH);
    auto* pFind = new QWidget(m_pPages);
    auto* pFindLayout = new QVBoxLayout(pFind);
    pFindLayout->setContentsMargins(0, 0, 0, 0);
    pFindLayout->addWidget(m_pPattern);
    pFindLayout->addWidget(m_pList, 1);
    auto* pAsk = new QWidget(m_pPages);
    auto* pAskLayout = new QVBoxLayout(pAsk);
    auto* pRun = new QPushButton(QStringLiteral("&Run"), pAsk);
    pRun->setDefault(true);
    m_pPrompt->setWordWrap(true);
    pAskLayout->addWidget(m_pPrompt);
    pAskLayout->addLayout(m_pForm);
    pAskLayout->addStretch(1);
    pAskLayout->addWidget(pRun, 0, Qt::AlignRight);
    m_pPages->addWidget(pFind);
    m_pPages->addWidget(pAsk);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->setContentsMargins(8, 8, 8, 8);
    pLayout->addWidget(m_pPages);
    connect(m_pPattern, &QLineEdit::textChanged, this, &CCommandPalette::OnPatternChanged);
    connect(m_pList, &QTreeView::clicked, this, &CCommandPalette::OnChosen);
    connect(pRun, &QPushButton::clicked, this, &CCommandPalette::OnArgumentsEntered);
    OnPatternChanged(QString());
    m_pPattern->setFocus();
    if (pParent != nullptr) {
        const QPoint Top = pParent->mapToGlobal(QPoint((pParent->width() - width()) / 2, TOP_DISTANCE));
        move(qMax(Top.x(), 0), Top.y());
    }
}

void CCommandPalette::OnPatternChanged(const QString& sPattern) {
    m_pModel->SetPattern(sPattern);
    m_pList->setCurrentIndex(m_pModel->index(0, 0));
}

bool CCommandPalette::eventFilter(QObject* pObject, QEvent* pEvent) {
    if (pObject != m_pPattern || pEvent->type() != QEvent::KeyPress) {
        return QDialog::eventFilter(pObject, pEvent);
    }
    const int Key = static_cast<QKeyEvent*>(pEvent)->key();
    const int Page = qMax(1, m_pList->viewport()->height() / qMax(1, m_pList->sizeHintForRow(0)));
    const int Step =
        Key == Qt::Key_Down
            ? 1
            : (Key == Qt::Key_Up ? -1 : (Key == Qt::Key_PageDown ? Page : (Key == Qt::Key_PageUp ? -Page : 0)));
    if (Step != 0 && m_pModel->rowCount() > 0) {
        const int Row = qBound(0, m_pList->currentIndex().row() + Step, m_pModel->rowCount() - 1);
        m_pList->setCurrentIndex(m_pModel->index(Row, 0));
        return true;
    }
    if (Key == Qt::Key_Return || Key == Qt::Key_Enter) {
        OnChosen();
        return true;
    }
    return Step != 0;
}

void CCommandPalette::OnChosen() {
    const QModelIndex Index = m_pList->currentIndex();
    if (!Index.isValid()) {
        return;
    }
    const U32 Id = m_pModel->GetCommand(Index.row());
    if (Parameters(CCommandTable::GetRow(Id)).isEmpty()) {
        RunCommand(Id, {});
    } else {
        AskForArguments(Id);
    }
}

void CCommandPalette::AskForArguments(U32 Id) {
    const COMMAND_ROW Row = CCommandTable::GetRow(Id);
    m_Command = Id;
    m_pPrompt->setText(
        QStringLiteral("<b>%1</b><br>%2").arg(GetPaletteName(Row).toHtmlEscaped(), Row.LongHelp.toHtmlEscaped()));
    for (const QString& sParameter : Parameters(Row)) {
        auto* pEdit = new QLineEdit(this);
        pEdit->setPlaceholderText(sParameter.contains(QLatin1Char('*'))
                                      ? QStringLiteral("text")
                                      : QStringLiteral("number, or the name of a value"));
        m_pForm->addRow(sParameter.section(QRegularExpression(QStringLiteral("[\\s*]+")), -1), pEdit);
        m_Arguments.append(pEdit);
    }
    m_pPages->setCurrentIndex(1);
    m_Arguments.first()->setFocus();
}

void CCommandPalette::OnArgumentsEntered() {
    QVariantList Args;
    for (const QLineEdit* pEdit : std::as_const(m_Arguments)) {
        Args.append(pEdit->text());
    }
    // A command that can do with fewer arguments asks for the rest itself.
    while (!Args.isEmpty() && Args.last().toString().isEmpty()) {
        Args.removeLast();
    }
    RunCommand(m_Command, Args);
}

void CCommandPalette::RunCommand(U32 Id, const QVariantList& Args) {
    accept();
    // Behind the dialog's own end: the command may open a dialog or close the program.
    QTimer::singleShot(0, parent(), [Id, Args] { CCommandTable::Execute(Id, Args); });
}
