#include "UI/WebSearchEditor.h"

#include "Support/UUID.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace zeph {

namespace {

enum Column { enabled, name, keyword, url, fallback, columnCount };

QTableWidgetItem* checkItem(bool isChecked)
{
    auto* item = new QTableWidgetItem;
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
    item->setCheckState(isChecked ? Qt::Checked : Qt::Unchecked);
    return item;
}

} // namespace

WebSearchEditor::WebSearchEditor(QWidget* parent)
    : QWidget(parent)
    , m_table(new QTableWidget(0, columnCount, this))
{
    m_table->setHorizontalHeaderLabels(
        { QStringLiteral("On"), QStringLiteral("Name"), QStringLiteral("Keyword"),
            QStringLiteral("Address ({query} for the query)"), QStringLiteral("Fallback") });
    m_table->verticalHeader()->hide();
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->horizontalHeader()->setSectionResizeMode(url, QHeaderView::Stretch);
    m_table->setMinimumHeight(180);
    auto* add = new QPushButton(QStringLiteral("Add"), this);
    auto* remove = new QPushButton(QStringLiteral("Remove"), this);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(add);
    buttons->addWidget(remove);
    buttons->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_table);
    layout->addLayout(buttons);

    connect(m_table, &QTableWidget::itemChanged, this, [this] {
        if (!m_isFilling)
            report();
    });
    connect(add, &QPushButton::clicked, this, [this] {
        m_searches.push_back({ .id = makeUUID(),
            .name = "New Search",
            .url = "https://example.org/search?q={query}" });
        fill();
        m_table->setCurrentCell(m_table->rowCount() - 1, name);
        m_table->editItem(m_table->item(m_table->rowCount() - 1, name));
        report();
    });
    connect(remove, &QPushButton::clicked, this, [this] {
        auto row = m_table->currentRow();
        if (row < 0)
            return;
        m_table->removeRow(row);
        m_searches.erase(m_searches.begin() + row);
        report();
    });
}

void WebSearchEditor::setSearches(const std::vector<WebSearch>& searches)
{
    // Its own changes come back from the settings; refilling then would end an edit in progress.
    if (searches == m_searches && m_table->rowCount() == static_cast<int>(searches.size()))
        return;
    m_searches = searches;
    fill();
}

void WebSearchEditor::fill()
{
    m_isFilling = true;
    m_table->setRowCount(static_cast<int>(m_searches.size()));
    for (int row = 0; row < m_table->rowCount(); ++row) {
        const auto& search = m_searches[static_cast<std::size_t>(row)];
        m_table->setItem(row, enabled, checkItem(search.isEnabled));
        m_table->setItem(row, name, new QTableWidgetItem(QString::fromStdString(search.name)));
        m_table->setItem(
            row, keyword, new QTableWidgetItem(QString::fromStdString(search.keyword)));
        m_table->setItem(row, url, new QTableWidgetItem(QString::fromStdString(search.url)));
        m_table->setItem(row, fallback, checkItem(search.isFallback));
    }
    m_isFilling = false;
}

void WebSearchEditor::report()
{
    for (int row = 0; row < m_table->rowCount(); ++row) {
        auto& search = m_searches[static_cast<std::size_t>(row)];
        auto text = [&](int column) {
            return m_table->item(row, column)->text().trimmed().toStdString();
        };
        search.isEnabled = m_table->item(row, enabled)->checkState() == Qt::Checked;
        search.name = text(name);
        search.keyword = text(keyword);
        search.url = text(url);
        search.isFallback = m_table->item(row, fallback)->checkState() == Qt::Checked;
    }
    if (onChange)
        onChange(m_searches);
}

} // namespace zeph
