#include "UI/LauncherPanel.h"

#include "Logic/LauncherController.h"
#include "Logic/PanelPlacement.h"
#include "Platform/KeyTable.h"
#include "Platform/Trace.h"
#include "Platform/X11Connection.h"
#include "UI/ResultList.h"

#include <cstdio>

#include <QApplication>
#include <QCursor>
#include <QHBoxLayout>
#include <QImageReader>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QUrl>
#include <QVBoxLayout>
#include <QWindow>

namespace zeph {

namespace {

using Command = LauncherController::FieldCommand;

std::optional<Command> fieldCommand(int key)
{
    switch (key) {
    case Qt::Key_Up:
        return Command::moveUp;
    case Qt::Key_Down:
        return Command::moveDown;
    case Qt::Key_PageUp:
        return Command::pageUp;
    case Qt::Key_PageDown:
        return Command::pageDown;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return Command::insertNewline;
    case Qt::Key_Tab:
        return Command::insertTab;
    case Qt::Key_Escape:
        return Command::cancel;
    case Qt::Key_Right:
        return Command::moveRight;
    case Qt::Key_Left:
        return Command::moveLeft;
    case Qt::Key_Backspace:
        return Command::deleteBackward;
    default:
        return std::nullopt;
    }
}

// The program's modifier bits in the Linux habit: Ctrl is `command`, Super `control`.
KeyCombo::Modifiers modifiers(Qt::KeyboardModifiers held)
{
    KeyCombo::Modifiers bits;
    if (held & Qt::ControlModifier)
        bits |= KeyCombo::Modifiers::command;
    if (held & Qt::AltModifier)
        bits |= KeyCombo::Modifiers::option;
    if (held & Qt::ShiftModifier)
        bits |= KeyCombo::Modifiers::shift;
    if (held & Qt::MetaModifier)
        bits |= KeyCombo::Modifiers::control;
    return bits;
}

std::string detailText(const DetailContent& detail)
{
    auto escape = [](const std::string& text) {
        return QString::fromStdString(text).toHtmlEscaped().toStdString();
    };
    std::string html;
    // Stored images and pictures of image files, scaled to the pane's width.
    const std::string* imagePath = nullptr;
    if (const auto* image = std::get_if<DetailHeroes::Image>(&detail.hero))
        imagePath = &image->path;
    if (const auto* picture = std::get_if<DetailHeroes::Picture>(&detail.hero))
        imagePath = &picture->path;
    if (imagePath) {
        QImageReader reader(QString::fromStdString(*imagePath));
        auto size = reader.size();
        if (size.isValid() && size.width() > 0) {
            auto width = std::min(size.width(), 240);
            auto height = size.height() * width / size.width();
            html += "<p><img src=\""
                + escape(QUrl::fromLocalFile(reader.fileName()).toString().toStdString())
                + "\" width=\"" + std::to_string(width) + "\" height=\"" + std::to_string(height)
                + "\"></p>";
        }
    }
    html += "<p style='font-size:15px'><b>" + escape(detail.title) + "</b></p>";
    if (!detail.subtitle.empty())
        html += "<p>" + escape(detail.subtitle) + "</p>";
    if (const auto* text = std::get_if<DetailHeroes::Text>(&detail.hero))
        html += (text->isMonospaced ? "<pre>" : "<p>") + escape(text->text)
            + (text->isMonospaced ? "</pre>" : "</p>");
    if (const auto* calculation = std::get_if<DetailHeroes::Calculation>(&detail.hero))
        html += "<p>" + escape(calculation->expression) + " = <b>" + escape(calculation->value)
            + "</b></p>";
    if (!detail.metadata.empty()) {
        html += "<table>";
        for (const auto& entry : detail.metadata)
            html += "<tr><td style='padding-right:8px'>" + escape(entry.key) + "</td><td>"
                + escape(entry.value) + "</td></tr>";
        html += "</table>";
    }
    return html;
}

} // namespace

LauncherPanel::LauncherPanel(std::filesystem::path dataFolder)
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
    , m_dataFolder(std::move(dataFolder))
{
    setObjectName(QStringLiteral("ZephLauncherPanel"));
    setWindowTitle(QStringLiteral("Zeph Launcher"));
    setAttribute(Qt::WA_TranslucentBackground);
    m_field = new QLineEdit(this);
    m_field->setObjectName(QStringLiteral("searchField"));
    m_field->setFrame(false);
    m_field->installEventFilter(this);
    m_chip = new QLabel(this);
    m_chip->hide();
    m_list = new ResultList(this);
    m_detail = new QLabel(this);
    m_detail->setWordWrap(true);
    m_detail->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    m_detail->setTextFormat(Qt::RichText);
    m_detail->setFixedWidth(260);
    m_detail->hide();
    m_footer = new QLabel(this);
    m_hints = new QLabel(this);

    auto* fieldRow = new QHBoxLayout;
    fieldRow->addWidget(m_chip);
    fieldRow->addWidget(m_field, 1);
    auto* body = new QHBoxLayout;
    body->addWidget(m_list, 1);
    body->addWidget(m_detail);
    auto* footer = new QHBoxLayout;
    footer->addWidget(m_footer, 1);
    footer->addWidget(m_hints);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 12, 14, 10);
    layout->addLayout(fieldRow);
    layout->addLayout(body, 1);
    layout->addLayout(footer);

    connect(m_field, &QLineEdit::textEdited, this, [this](const QString& text) {
        traceFrom("keystroke");
        if (m_controller)
            m_controller->queryChanged(text.toStdString());
    });
    // The panel goes when the keyboard goes elsewhere, to another program or a window of ours.
    // Without a window manager, the toolkit reports a focus lost in hiding a moment later, when
    // the panel may be back with the keyboard: there the X server has the last word.
    connect(qApp, &QGuiApplication::focusWindowChanged, this, [this](QWindow* focused) {
        if (m_controller && isVisible() && windowHandle() && focused != windowHandle()
            && !hasX11Focus())
            m_controller->resignedKey();
    });
    m_list->onRowClicked = [this](int index, Qt::KeyboardModifiers held) {
        if (m_controller)
            m_controller->rowClicked(index, modifiers(held));
    };
    m_list->onActionClicked = [this](int index) {
        if (m_controller)
            m_controller->actionClicked(index);
    };
    resize(
        static_cast<int>(PanelPlacement::minimumWidth), static_cast<int>(PanelPlacement::height));
}

LauncherPanel::~LauncherPanel() = default;

void LauncherPanel::setStyle(const PanelStyle& style)
{
    m_style = style;
    applyStyle();
}

void LauncherPanel::applyStyle()
{
    const auto& palette = m_style.palette;
    auto css = [&](const ThemeColor& color) { return m_style.color(color).name(QColor::HexArgb); };
    m_field->setFont(m_style.font(m_style.theme.searchFontSize));
    m_field->setStyleSheet(QStringLiteral("QLineEdit { background: transparent; color: %1; }")
                               .arg(css(palette.searchText)));
    auto placeholderPalette = m_field->palette();
    placeholderPalette.setColor(QPalette::PlaceholderText, m_style.color(palette.placeholder));
    m_field->setPalette(placeholderPalette);
    m_chip->setStyleSheet(QStringLiteral("QLabel { color: %1; background: %2; border-radius: 8px;"
                                         " padding: 4px 8px; }")
                              .arg(css(palette.selectionTitle), css(palette.selectionBackground)));
    for (auto* label : { m_footer, m_hints, m_detail })
        label->setStyleSheet(QStringLiteral("QLabel { color: %1; }").arg(css(palette.subtitle)));
    m_detail->setFont(m_style.font(m_style.theme.subtitleFontSize + 1));
    m_list->setStyle(m_style);
    QWidget::update();
}

void LauncherPanel::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    auto radius = m_style.isTranslucent ? m_style.theme.cornerRadius : 0.0;
    QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath path;
    path.addRoundedRect(frame, radius, radius);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(rect(), Qt::transparent);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.fillPath(path, m_style.color(m_style.palette.background));
    if (m_style.theme.borderWidth > 0) {
        painter.setPen(QPen(m_style.color(m_style.palette.border), m_style.theme.borderWidth));
        painter.drawPath(path);
    }
    // The separator under the field.
    int y = m_field->geometry().bottom() + 6;
    painter.setPen(QPen(m_style.color(m_style.palette.separator), 1));
    painter.drawLine(QPointF(14, y), QPointF(width() - 14, y));
    if (m_traceLabel) {
        // Queued, so that the list, painted after the panel, is in the figure.
        QMetaObject::invokeMethod(
            this,
            [label = std::exchange(m_traceLabel, nullptr), start = m_traceStart] {
                std::chrono::duration<double, std::milli> elapsed
                    = std::chrono::steady_clock::now() - start;
                std::fprintf(
                    stderr, "Zeph Launcher: %s to paint %.2f ms\n", label, elapsed.count());
            },
            Qt::QueuedConnection);
    }
}

void LauncherPanel::traceFrom(const char* what)
{
    if (!TraceTimer::isOn())
        return;
    m_traceLabel = what;
    m_traceStart = std::chrono::steady_clock::now();
}

void LauncherPanel::place()
{
    std::vector<PanelPlacement::Screen> screens;
    for (auto* screen : QGuiApplication::screens()) {
        auto frame = screen->geometry();
        auto available = screen->availableGeometry();
        screens.push_back({ .frame = { double(frame.x()), double(frame.y()), double(frame.width()),
                                double(frame.height()) },
            .available = { double(available.x()), double(available.y()), double(available.width()),
                double(available.height()) },
            .isPrimary = screen == QGuiApplication::primaryScreen() });
    }
    auto pointer = QCursor::pos();
    auto width = std::max(m_style.theme.width, PanelPlacement::minimumWidth);
    auto frame = PanelPlacement::position(screens, { double(pointer.x()), double(pointer.y()) },
        width, m_verticalPosition, PanelPlacement::storedPosition(m_dataFolder));
    if (!frame)
        return;
    m_isPlacing = true;
    setGeometry(static_cast<int>(frame->x), static_cast<int>(frame->y),
        static_cast<int>(frame->width), static_cast<int>(frame->height));
    m_isPlacing = false;
}

void LauncherPanel::showPanel()
{
    place();
    show();
    raise();
    activateWindow();
    m_field->setFocus();
}

bool LauncherPanel::hasX11Focus() const
{
    auto* connection = qtX11Connection();
    if (!connection)
        return false;
    XcbReply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
    return reply && reply->focus == winId();
}

void LauncherPanel::hidePanel()
{
    hide();
}

bool LauncherPanel::isPanelVisible() const
{
    return isVisible();
}

// The window with the keyboard focus, as the toolkit tracks it: its "active window" can lag behind
// or miss a focus that came without a window manager's help.
bool LauncherPanel::isPanelKey() const
{
    return isVisible() && windowHandle() && QGuiApplication::focusWindow() == windowHandle();
}

void LauncherPanel::setQuery(const std::string& text, QuerySelection selection)
{
    auto wanted = QString::fromStdString(text);
    if (m_field->text() != wanted)
        m_field->setText(wanted);
    if (selection == QuerySelection::all)
        m_field->selectAll();
    else
        m_field->setCursorPosition(static_cast<int>(m_field->text().size()));
}

void LauncherPanel::update(const LauncherDisplay& display)
{
    m_field->setPlaceholderText(QString::fromStdString(display.placeholder));
    if (display.chip) {
        m_chip->setText(QString::fromStdString(display.chip->text));
        m_chip->show();
    } else {
        m_chip->hide();
    }
    m_list->show(display);
    if (display.detail && !display.actions) {
        m_detail->setText(QString::fromStdString(detailText(*display.detail)));
        m_detail->show();
    } else {
        m_detail->hide();
    }
    std::string footer = display.toast ? *display.toast : display.footerText;
    if (display.countLabel && !display.toast)
        footer = footer.empty() ? *display.countLabel : footer + "  ·  " + *display.countLabel;
    m_footer->setText(QString::fromStdString(footer));
    QStringList hints;
    for (const auto& hint : display.hints)
        hints << QString::fromStdString(hint.label + " " + hint.key);
    m_hints->setText(hints.join(QStringLiteral("    ")));
    QWidget::update();
}

bool LauncherPanel::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_field && event->type() == QEvent::KeyPress)
        return handleKey(static_cast<QKeyEvent*>(event));
    return QWidget::eventFilter(watched, event);
}

bool LauncherPanel::handleKey(QKeyEvent* event)
{
    if (!m_controller)
        return false;
    auto held = modifiers(event->modifiers());
    auto isSelection = m_field->hasSelectedText();
    SearchFieldState field { .isCaretAtEnd
        = m_field->cursorPosition() == m_field->text().size() && !isSelection,
        .hasSelection = isSelection };
    if (held.contains(KeyCombo::Modifiers::command)) {
        auto keyCode = KeyTable::keyCodeForQtKey(event->key());
        std::string characters;
        if (event->key() >= 0x20 && event->key() < 0x7f)
            characters = QString(QChar(event->key())).toLower().toStdString();
        if (keyCode && m_controller->keyEquivalent(*keyCode, characters, held, field))
            return true;
        return false; // The field's own Ctrl keys: copy, paste, select all, undo.
    }
    auto command = fieldCommand(event->key());
    if (!command)
        return false;
    if (event->key() == Qt::Key_Tab && (event->modifiers() & Qt::ShiftModifier))
        return true;
    return m_controller->doCommand(*command, held, field);
}

void LauncherPanel::mousePressEvent(QMouseEvent* event)
{
    // The panel has no title bar: dragging its background moves it, and the place is kept.
    if (event->button() == Qt::LeftButton && windowHandle()) {
        m_userMoved = true;
        windowHandle()->startSystemMove();
    }
}

void LauncherPanel::moveEvent(QMoveEvent* event)
{
    QWidget::moveEvent(event);
    if (m_isPlacing || !m_userMoved || !isVisible())
        return;
    PanelPlacement::storePosition(m_dataFolder, { double(pos().x()), double(pos().y()) });
}

} // namespace zeph
