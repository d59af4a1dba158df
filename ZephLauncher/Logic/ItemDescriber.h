#pragma once

#include "Logic/AppModel.h"
#include "Logic/LauncherDisplay.h"

namespace zeph {

// What the detail pane shows of a row, and the stored entry behind a clipboard row. It reads the
// model and holds nothing of its own.
class ItemDescriber {
public:
    explicit ItemDescriber(AppModel& model)
        : m_model(model)
    {
    }

    // The history's entry of a clipboard row, found by the row's id.
    std::optional<ClipboardItem> clipboardItem(const SearchItem& item) const;
    DetailContent detail(const LauncherDisplay::Row& row) const;

private:
    AppModel& m_model;
};

} // namespace zeph
