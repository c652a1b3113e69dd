#include "app/dialogs/DeviceSelectionDialog.h"

#include "app/dialogs/DeviceDataModel.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QTreeView>
#include <QVBoxLayout>

CDeviceSelectionDialog::CDeviceSelectionDialog(const QString& sDevice, QWidget* pParent)
    : CDialog(QStringLiteral("CDeviceSelectionDialog"), QStringLiteral("Target Device"), QSize(800, 480), pParent),
      m_pModel(new CDeviceDataModel(this)), m_pFilter(new QSortFilterProxyModel(this)), m_pTable(new QTreeView(this)),
      m_pFilterText(new QLineEdit(this)), m_pSelected(new QLabel(this)) {
    m_pSelected->setTextFormat(Qt::PlainText);
    m_pFilter->setSourceModel(m_pModel);
    m_pFilter->setFilterKeyColumn(-1);
    m_pFilter->setFilterCaseSensitivity(Qt::CaseInsensitive);
    m_pFilter->setSortCaseSensitivity(Qt::CaseInsensitive);
    m_pFilter->setSortRole(CDeviceDataModel::SORT_ROLE);
    m_pTable->setModel(m_pFilter);
    m_pTable->setRootIsDecorated(false);
    m_pTable->setUniformRowHeights(true);
    m_pTable->setAlternatingRowColors(true);
    m_pTable->setSortingEnabled(true);
    m_pTable->sortByColumn(CDeviceDataModel::COL_MANUFACTURER, Qt::AscendingOrder);
    for (int i = 0; i < CDeviceDataModel::NUM_COLUMNS; ++i) {
        m_pTable->resizeColumnToContents(i);
    }
    m_pFilterText->setPlaceholderText(QStringLiteral("Filter by manufacturer, device or core"));
    m_pFilterText->setClearButtonEnabled(true);
    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    m_pAccept = pButtons->button(QDialogButtonBox::Ok);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addWidget(m_pFilterText);
    pLayout->addWidget(m_pTable, 1);
    pLayout->addWidget(m_pSelected);
    pLayout->addWidget(pButtons);
    connect(m_pFilterText, &QLineEdit::textChanged, m_pFilter, &QSortFilterProxyModel::setFilterFixedString);
    connect(m_pTable->selectionModel(), &QItemSelectionModel::currentChanged, this,
            &CDeviceSelectionDialog::OnTableSelectionChanged);
    connect(m_pTable, &QTreeView::doubleClicked, this, &CDeviceSelectionDialog::OnButtonAcceptClicked);
    connect(pButtons, &QDialogButtonBox::accepted, this, &CDeviceSelectionDialog::OnButtonAcceptClicked);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    SelectDevice(sDevice);
    m_pFilterText->setFocus();
}

void CDeviceSelectionDialog::SelectDevice(const QString& sDevice) {
    const int Row = m_pModel->FindDevice(sDevice);
    if (Row >= 0) {
        const QModelIndex Index = m_pFilter->mapFromSource(m_pModel->index(Row, 0));
        m_pTable->setCurrentIndex(Index);
        m_pTable->scrollTo(Index, QAbstractItemView::PositionAtCenter);
    }
    OnTableSelectionChanged();
}

void CDeviceSelectionDialog::OnTableSelectionChanged() {
    const QModelIndex Index = m_pFilter->mapToSource(m_pTable->currentIndex());
    m_sDevice = Index.isValid() ? m_pModel->GetDevice(Index.row()).sName : QString();
    m_pSelected->setText(
        QStringLiteral("Selected device: %1").arg(m_sDevice.isEmpty() ? QStringLiteral("none") : m_sDevice));
    m_pAccept->setEnabled(!m_sDevice.isEmpty());
}

void CDeviceSelectionDialog::OnButtonAcceptClicked() {
    if (!m_sDevice.isEmpty()) {
        accept();
    }
}
