#pragma once

#include "Logic/LauncherDisplay.h"
#include "UI/Icons.h"
#include "UI/PanelStyle.h"

#include <functional>

#include <QWidget>

namespace zeph {

// The panel's list, painted directly: section headers, rows with icon, highlighted title, subtitle
// and shortcut; or, while it is open, the actions list. Scrolls to keep the selection in sight.
class ResultList final : public QWidget {
public:
    explicit ResultList(QWidget* parent);

    void setStyle(const PanelStyle& style);
    void show(const LauncherDisplay& display);

    // A click, with the modifiers held; the index is the row's in the display, or the action's.
    std::function<void(int index, Qt::KeyboardModifiers modifiers)> onRowClicked;
    std::function<void(int index)> onActionClicked;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    int rowHeight(int index) const;
    int headerHeight() const;
    int contentHeight() const;
    int top(int index) const;
    int count() const;
    int selected() const;
    void keepSelectionVisible();
    void paintRow(QPainter& painter, QRect rect, const LauncherDisplay::Row& row, int ordinal,
        bool isSelected);
    void paintAction(QPainter& painter, QRect rect, const LauncherAction& action, bool isSelected);

    PanelStyle m_style;
    // Made once for each style, not for each row of each repaint.
    QFont m_titleFont;
    QFont m_subtitleFont;
    QFont m_headerFont;
    QFont m_actionFont;
    LauncherDisplay m_display;
    Icons m_icons;
    int m_scroll = 0;
};

} // namespace zeph
