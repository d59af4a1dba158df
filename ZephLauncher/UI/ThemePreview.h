#pragma once

#include "UI/PanelStyle.h"

#include <QWidget>

namespace zeph {

// The panel in small, as a theme draws it: the field with a query, a selected row and two more,
// with the matched letters highlighted. The settings show it beside the list of themes.
class ThemePreview final : public QWidget {
public:
    explicit ThemePreview(QWidget* parent = nullptr);

    void setStyle(PanelStyle style);
    QSize sizeHint() const override { return { 420, 230 }; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    PanelStyle m_style;
};

} // namespace zeph
