#include "UI/ThemePreview.h"

#include <QPainter>
#include <QPainterPath>

namespace zeph {

namespace {

struct Row {
    const char* title;
    const char* subtitle;
    int matched; // Letters matched from the start of the title.
};

constexpr Row rows[] = {
    { "Text Editor", "Application", 3 },
    { "Terminal", "Application", 2 },
    { "Tea Timer", "Workflow", 2 },
};

// Drawn at half size, so that the preview keeps the panel's proportions.
constexpr double scale = 0.5;

double fieldHeight(const Theme& theme)
{
    return theme.searchFontSize * scale * 2.2;
}

double panelHeight(const Theme& theme)
{
    return fieldHeight(theme) + theme.rowHeight * scale * std::size(rows) + 10;
}

} // namespace

ThemePreview::ThemePreview(QWidget* parent)
    : QWidget(parent)
{
    setMinimumWidth(360);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void ThemePreview::setStyle(PanelStyle style)
{
    m_style = std::move(style);
    setFixedHeight(static_cast<int>(panelHeight(m_style.theme)) + 2);
    update();
}

void ThemePreview::paintEvent(QPaintEvent*)
{
    const auto& theme = m_style.theme;
    const auto& palette = m_style.palette;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    double panelWidth = std::min(theme.width * scale, width() - 2.0);
    double rowHeight = theme.rowHeight * scale;
    double fieldBottom = fieldHeight(theme);
    QRectF frame(1, 1, panelWidth, panelHeight(theme));
    QPainterPath path;
    path.addRoundedRect(frame, theme.cornerRadius * scale, theme.cornerRadius * scale);
    painter.fillPath(path, m_style.color(palette.background));
    if (theme.borderWidth > 0) {
        painter.setPen(QPen(m_style.color(palette.border), theme.borderWidth));
        painter.drawPath(path);
    }
    double inset = 12;
    painter.setFont(m_style.font(theme.searchFontSize * scale));
    painter.setPen(m_style.color(palette.searchText));
    painter.drawText(QRectF(inset, 1, panelWidth - 2 * inset, fieldBottom),
        Qt::AlignVCenter | Qt::AlignLeft, QStringLiteral("te"));
    painter.setPen(QPen(m_style.color(palette.separator), 1));
    painter.drawLine(QPointF(inset, fieldBottom), QPointF(panelWidth - inset, fieldBottom));

    auto titleFont = m_style.font(theme.titleFontSize * scale);
    auto subtitleFont = m_style.font(theme.subtitleFontSize * scale);
    double y = fieldBottom + 5;
    for (std::size_t index = 0; index < std::size(rows); ++index, y += rowHeight) {
        bool isSelected = index == 0;
        QRectF rowRect(6, y, panelWidth - 12, rowHeight);
        if (isSelected) {
            QPainterPath selection;
            selection.addRoundedRect(rowRect, 6, 6);
            painter.fillPath(selection, m_style.color(palette.selectionBackground));
        }
        double iconSize = theme.iconSize * scale;
        QRectF icon(rowRect.left() + 6, y + (rowHeight - iconSize) / 2, iconSize, iconSize);
        painter.setPen(Qt::NoPen);
        painter.setBrush(m_style.color(palette.highlight));
        painter.drawRoundedRect(icon, iconSize / 4, iconSize / 4);
        double textLeft = icon.right() + 8;
        auto title = QString::fromUtf8(rows[index].title);
        auto subtitleShown = theme.showsSubtitles;
        double titleTop = subtitleShown ? y + rowHeight * 0.1 : y;
        double titleHeight = subtitleShown ? rowHeight * 0.5 : rowHeight;
        // Matched letters in bold, and in the highlight colour off the selection, as the list
        // draws them.
        auto boldFont = titleFont;
        boldFont.setBold(true);
        auto matched = title.left(rows[index].matched);
        auto titleColor = m_style.color(isSelected ? palette.selectionTitle : palette.title);
        painter.setFont(boldFont);
        painter.setPen(isSelected ? titleColor : m_style.color(palette.highlight));
        painter.drawText(QRectF(textLeft, titleTop, panelWidth, titleHeight),
            Qt::AlignLeft | Qt::AlignVCenter, matched);
        painter.setFont(titleFont);
        painter.setPen(titleColor);
        painter.drawText(QRectF(textLeft + QFontMetricsF(boldFont).horizontalAdvance(matched),
                             titleTop, panelWidth, titleHeight),
            Qt::AlignLeft | Qt::AlignVCenter, title.mid(matched.size()));
        if (subtitleShown) {
            painter.setFont(subtitleFont);
            painter.setPen(
                m_style.color(isSelected ? palette.selectionSubtitle : palette.subtitle));
            painter.drawText(QRectF(textLeft, y + rowHeight * 0.55, panelWidth, rowHeight * 0.4),
                Qt::AlignLeft | Qt::AlignTop, QString::fromUtf8(rows[index].subtitle));
        }
        if (theme.showsShortcuts) {
            painter.setFont(subtitleFont);
            painter.setPen(m_style.color(palette.shortcut));
            painter.drawText(QRectF(rowRect.left(), y, rowRect.width() - 8, rowHeight),
                Qt::AlignRight | Qt::AlignVCenter, QStringLiteral("Ctrl+%1").arg(index + 1));
        }
    }
}

} // namespace zeph
