#include "views/SourceFilesWindow.h"

#include "command/CommandTable.h"
#include "elf/ElfApiLines.h"
#include "framework/PlainText.h"
#include "project/FileFinder.h"

#include <QFileInfo>
#include <QHeaderView>
#include <QTreeView>
#include <algorithm>

void CSourceFilesModel::Init() {
    beginResetModel();
    m_Files = ElfApi_GetSrcFiles();
    std::sort(m_Files.begin(), m_Files.end(), [](const QString& a, const QString& b) {
        const int Order = QFileInfo(a).fileName().compare(QFileInfo(b).fileName(), Qt::CaseInsensitive);
        return Order != 0 ? Order < 0 : a < b;
    });
    endResetModel();
}

void CSourceFilesModel::Clear() {
    beginResetModel();
    m_Files.clear();
    endResetModel();
}

QString CSourceFilesModel::GetPath(const QModelIndex& Index) const {
    return CFileFinder::Get().FindFile(m_Files.value(Index.row()));
}

int CSourceFilesModel::rowCount(const QModelIndex& Parent) const {
    return Parent.isValid() ? 0 : static_cast<int>(m_Files.size());
}

int CSourceFilesModel::columnCount(const QModelIndex& Parent) const { return Parent.isValid() ? 0 : NUM_COLUMNS; }

QVariant CSourceFilesModel::data(const QModelIndex& Index, int Role) const {
    if (!Index.isValid() || (Role != Qt::DisplayRole && Role != Qt::ToolTipRole)) {
        return {};
    }
    const QString sPath = m_Files.value(Index.row());
    if (Role == Qt::ToolTipRole) {
        return ToPlainToolTip(sPath);
    }
    return Index.column() == COL_FILE ? QFileInfo(sPath).fileName() : sPath;
}

QVariant CSourceFilesModel::headerData(int Section, Qt::Orientation Orientation, int Role) const {
    if (Orientation != Qt::Horizontal || Role != Qt::DisplayRole) {
        return {};
    }
    return Section == COL_FILE ? QStringLiteral("File") : QStringLiteral("Path");
}

CSourceFilesWindow::CSourceFilesWindow(QWidget* pParent) : CWindow(QStringLiteral("Source Files"), pParent) {
    auto* pView = new QTreeView(this);
    pView->setModel(&m_Model);
    pView->setRootIsDecorated(false);
    pView->setUniformRowHeights(true);
    pView->setAlternatingRowColors(true);
    pView->header()->resizeSection(CSourceFilesModel::COL_FILE, 160);
    setCentralWidget(pView);
    setFocusProxy(pView);
    connect(pView, &QTreeView::activated, this,
            [this](const QModelIndex& Index) { CCommandTable::Execute(CMD_FILE_OPEN, {m_Model.GetPath(Index)}); });
}
