#pragma once

#include "Search/WebSearch.h"

#include <functional>
#include <vector>

#include <QWidget>

class QTableWidget;

namespace zeph {

// The web searches as a table: on, name, keyword, address with "{query}", and whether the search
// is offered when nothing else matches. Every cell edits in place.
class WebSearchEditor final : public QWidget {
public:
    explicit WebSearchEditor(QWidget* parent = nullptr);

    void setSearches(const std::vector<WebSearch>& searches);
    std::function<void(std::vector<WebSearch>)> onChange;

private:
    void fill();
    void report();

    QTableWidget* m_table;
    std::vector<WebSearch> m_searches;
    bool m_isFilling = false;
};

} // namespace zeph
