#include "UI/ResultList.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QTextBoundaryFinder>
#include <QTextLayout>

namespace zeph {

namespace {

constexpr int margin = 8;

// The UTF-16 ranges of grapheme clusters at `positions`, which are cluster indices.
QList<QTextLayout::FormatRange> highlightRanges(
    const QString& text, const std::vector<int>& positions, const QTextCharFormat& format)
{
    QList<QTextLayout::FormatRange> ranges;
    if (positions.empty())
        return ranges;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int cluster = 0;
    int start = 0;
    auto wanted = positions.begin();
    while (wanted != positions.end()) {
        int end = finder.toNextBoundary();
        if (end < 0)
            break;
        if (*wanted == cluster) {
            if (!ranges.isEmpty() && ranges.back().start + ranges.back().length == start)
                ranges.back().length += end - start;
            else
                ranges.append({ start, end - start, format });
            ++wanted;
        }
        ++cluster;
        start = end;
    }
    return ranges;
}

} // namespace

ResultList::ResultList(QWidget* parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_OpaquePaintEvent, false);
    setFocusPolicy(Qt::NoFocus);
}

void ResultList::setStyle(const PanelStyle& style)
{
    m_style = style;
    const auto& theme = style.theme;
    m_titleFont = style.font(theme.titleFontSize);
    m_subtitleFont = style.font(theme.subtitleFontSize);
    m_headerFont = style.font(theme.subtitleFontSize, true);
    m_actionFont = style.font(theme.titleFontSize * 0.85);
    update();
}

void ResultList::show(const LauncherDisplay& display)
{
    bool listChanged = display.rows != m_display.rows
        || display.actions.has_value() != m_display.actions.has_value();
    m_display = display;
    if (listChanged)
        m_scroll = 0;
    keepSelectionVisible();
    update();
}

int ResultList::count() const
{
    return m_display.actions ? static_cast<int>(m_display.actions->size())
                             : static_cast<int>(m_display.rows.size());
}

int ResultList::selected() const
{
    return m_display.actions ? m_display.selectedAction : m_display.selectedIndex;
}

int ResultList::headerHeight() const
{
    return static_cast<int>(m_style.theme.subtitleFontSize) + 14;
}

int ResultList::rowHeight(int index) const
{
    if (!m_display.actions
        && std::holds_alternative<LauncherDisplay::Header>(
            m_display.rows[static_cast<std::size_t>(index)]))
        return headerHeight();
    return m_display.actions ? 36 : static_cast<int>(m_style.theme.rowHeight);
}

int ResultList::top(int index) const
{
    int y = 0;
    for (int row = 0; row < index; ++row)
        y += rowHeight(row);
    return y;
}

int ResultList::contentHeight() const
{
    return top(count());
}

void ResultList::keepSelectionVisible()
{
    int index = selected();
    if (index < 0 || index >= count())
        return;
    int rowTop = top(index);
    int rowBottom = rowTop + rowHeight(index);
    if (rowTop < m_scroll)
        m_scroll = rowTop;
    else if (rowBottom > m_scroll + height())
        m_scroll = rowBottom - height();
}

void ResultList::resizeEvent(QResizeEvent*)
{
    keepSelectionVisible();
}

void ResultList::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    int y = -m_scroll;
    int ordinal = 0; // Ctrl+1 to Ctrl+9 choose the rows in order, headers aside.
    for (int index = 0; index < count(); ++index) {
        if (!m_display.actions
            && std::holds_alternative<LauncherDisplay::Row>(
                m_display.rows[static_cast<std::size_t>(index)]))
            ++ordinal;
        int rowTop = y;
        int h = rowHeight(index);
        y += h;
        if (rowTop + h < 0 || rowTop > height())
            continue;
        QRect rect(margin, rowTop, width() - 2 * margin, h);
        bool isSelected = index == selected();
        if (m_display.actions) {
            paintAction(
                painter, rect, (*m_display.actions)[static_cast<std::size_t>(index)], isSelected);
            continue;
        }
        const auto& listRow = m_display.rows[static_cast<std::size_t>(index)];
        if (const auto* header = std::get_if<LauncherDisplay::Header>(&listRow)) {
            painter.setFont(m_headerFont);
            painter.setPen(m_style.color(m_style.palette.subtitle));
            auto text = rect.adjusted(8, 0, -8, 0);
            painter.drawText(
                text, Qt::AlignLeft | Qt::AlignBottom, QString::fromStdString(header->title));
            if (header->hint)
                painter.drawText(
                    text, Qt::AlignRight | Qt::AlignBottom, QString::fromStdString(*header->hint));
            continue;
        }
        paintRow(painter, rect, std::get<LauncherDisplay::Row>(listRow), ordinal, isSelected);
    }
}

void ResultList::paintRow(
    QPainter& painter, QRect rect, const LauncherDisplay::Row& row, int ordinal, bool isSelected)
{
    const auto& theme = m_style.theme;
    const auto& palette = m_style.palette;
    if (isSelected) {
        QPainterPath path;
        path.addRoundedRect(rect, 10, 10);
        painter.fillPath(path, m_style.color(palette.selectionBackground));
    }
    int iconSize = static_cast<int>(theme.iconSize);
    QRect iconRect(rect.left() + 10, rect.center().y() - iconSize / 2 + 1, iconSize, iconSize);
    m_icons.forItem(row.result.item).paint(&painter, iconRect);

    const auto& item = row.result.item;
    int textLeft = iconRect.right() + 12;
    int textRight = rect.right() - 12;
    if (theme.showsShortcuts && ordinal >= 1 && ordinal <= 9) {
        painter.setFont(m_subtitleFont);
        painter.setPen(m_style.color(palette.shortcut));
        painter.drawText(QRect(textRight - 60, rect.top(), 60, rect.height()),
            Qt::AlignRight | Qt::AlignVCenter, QStringLiteral("Ctrl+%1").arg(ordinal));
        textRight -= 68;
    }
    bool hasSubtitle = theme.showsSubtitles && !item.subtitle.empty();
    QFontMetrics titleMetrics(m_titleFont);
    int titleHeight = titleMetrics.height();
    int subtitleHeight = hasSubtitle ? QFontMetrics(m_subtitleFont).height() : 0;
    int textTop = rect.center().y() - (titleHeight + subtitleHeight) / 2 + 1;

    auto title = QString::fromStdString(item.title);
    title = titleMetrics.elidedText(title, Qt::ElideRight, textRight - textLeft);
    QTextLayout layout(title, m_titleFont);
    QTextCharFormat highlight;
    // On the selection the highlight colour would sink into the background: bold alone marks it.
    highlight.setForeground(m_style.color(isSelected ? palette.selectionTitle : palette.highlight));
    highlight.setFontWeight(QFont::Bold);
    layout.setFormats(highlightRanges(title, row.result.highlight, highlight));
    layout.beginLayout();
    layout.createLine();
    layout.endLayout();
    painter.setPen(m_style.color(isSelected ? palette.selectionTitle : palette.title));
    layout.draw(&painter, QPointF(textLeft, textTop));

    if (hasSubtitle) {
        painter.setFont(m_subtitleFont);
        painter.setPen(m_style.color(isSelected ? palette.selectionSubtitle : palette.subtitle));
        auto subtitle = QFontMetrics(m_subtitleFont)
                            .elidedText(QString::fromStdString(item.subtitle), Qt::ElideMiddle,
                                textRight - textLeft);
        painter.drawText(
            QRect(textLeft, textTop + titleHeight, textRight - textLeft, subtitleHeight),
            Qt::AlignLeft | Qt::AlignVCenter, subtitle);
    }
}

void ResultList::paintAction(
    QPainter& painter, QRect rect, const LauncherAction& action, bool isSelected)
{
    const auto& palette = m_style.palette;
    if (isSelected) {
        QPainterPath path;
        path.addRoundedRect(rect, 8, 8);
        painter.fillPath(path, m_style.color(palette.selectionBackground));
    }
    QRect iconRect(rect.left() + 10, rect.center().y() - 9, 18, 18);
    m_icons.named(action.symbol).paint(&painter, iconRect);
    painter.setFont(m_actionFont);
    painter.setPen(m_style.color(isSelected ? palette.selectionTitle : palette.title));
    auto text = rect.adjusted(iconRect.width() + 22, 0, -12, 0);
    painter.drawText(text, Qt::AlignLeft | Qt::AlignVCenter, QString::fromStdString(action.title));
    if (action.shortcut) {
        painter.setPen(m_style.color(palette.shortcut));
        painter.drawText(
            text, Qt::AlignRight | Qt::AlignVCenter, QString::fromStdString(*action.shortcut));
    }
}

void ResultList::mousePressEvent(QMouseEvent* event)
{
    int y = static_cast<int>(event->position().y()) + m_scroll;
    int rowTop = 0;
    for (int index = 0; index < count(); rowTop += rowHeight(index), ++index) {
        if (y < rowTop || y >= rowTop + rowHeight(index))
            continue;
        if (m_display.actions) {
            if (onActionClicked)
                onActionClicked(index);
        } else if (onRowClicked) {
            onRowClicked(index, event->modifiers());
        }
        return;
    }
}

void ResultList::wheelEvent(QWheelEvent* event)
{
    int limit = std::max(0, contentHeight() - height());
    m_scroll = std::clamp(m_scroll - event->angleDelta().y() / 2, 0, limit);
    update();
}

} // namespace zeph
