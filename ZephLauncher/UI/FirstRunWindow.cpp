#include "UI/FirstRunWindow.h"

#include "Platform/KeyTable.h"
#include "UI/SettingsForm.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace zeph {

namespace {

QString works(const QString& text)
{
    return QStringLiteral("✓ ") + text;
}

QString fails(const QString& text)
{
    return QStringLiteral("✗ ") + text;
}

} // namespace

FirstRunWindow::FirstRunWindow(Observable<AppSettings>& settings, HotKeyCenter& hotkeys,
    Session session, std::function<bool()> holdsShortcut, std::function<void()> openSettings,
    QWidget* parent)
    : QWidget(parent, Qt::Window)
    , m_settings(settings)
    , m_session(session)
    , m_holdsShortcut(std::move(holdsShortcut))
    , m_notes(new QLabel(this))
{
    setWindowTitle(QStringLiteral("Welcome to Zeph Launcher"));
    setMinimumWidth(560);
    auto* title = new QLabel(QStringLiteral("Welcome to Zeph Launcher"), this);
    auto font = title->font();
    font.setPointSizeF(font.pointSizeF() * 1.6);
    font.setBold(true);
    title->setFont(font);
    auto* intro = new QLabel(QStringLiteral("Press the shortcut anywhere, type what you look for "
                                            "(an application, a file, a snippet, a sum) and press "
                                            "Enter."),
        this);
    intro->setWordWrap(true);

    auto* form = new SettingsForm(settings, this);
    form->shortcut(
        QStringLiteral("Shortcut:"), [](AppSettings& now) -> KeyCombo& { return now.hotkey; },
        hotkeys);
    form->toggle(QStringLiteral("Start Zeph Launcher when I log in"),
        [](AppSettings& now) -> bool& { return now.launchAtLogin; });

    m_notes->setWordWrap(true);
    m_notes->setTextFormat(Qt::PlainText);
    auto* heading = new QLabel(session.isWayland ? QStringLiteral("In this Wayland session")
                                                 : QStringLiteral("In this X11 session"),
        this);
    heading->setFont([&] {
        auto bold = heading->font();
        bold.setBold(true);
        return bold;
    }());

    auto* settingsButton = new QPushButton(QStringLiteral("Open Settings"), this);
    auto* done = new QPushButton(QStringLiteral("Get Started"), this);
    done->setDefault(true);
    connect(settingsButton, &QPushButton::clicked, this, [this, openSettings] {
        m_isAnswered = true;
        close();
        openSettings();
    });
    connect(done, &QPushButton::clicked, this, [this] {
        m_isAnswered = true;
        close();
    });
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(settingsButton);
    buttons->addWidget(done);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 24, 28, 20);
    layout->addWidget(title);
    layout->addWidget(intro);
    layout->addWidget(form);
    layout->addWidget(heading);
    layout->addWidget(m_notes);
    layout->addStretch();
    layout->addLayout(buttons);
    m_subscription = settings.subscribe([this](const AppSettings&) { showNotes(); });
    showNotes();
    done->setFocus();
}

std::vector<QString> FirstRunWindow::sessionNotes(
    const Session& session, const AppSettings& settings, bool holdsShortcut)
{
    auto shortcut = QString::fromStdString(KeyTable::displayText(settings.hotkey));
    std::vector<QString> notes;
    if (!session.hasGlobalShortcuts) {
        notes.push_back(fails(QStringLiteral(
            "This desktop lets no program take a global shortcut. Bind the command "
            "“zeph-launcher --toggle” to a key in the desktop's keyboard settings.")));
    } else if (!holdsShortcut) {
        notes.push_back(fails(QStringLiteral(
            "%1 is taken by another program. Click the shortcut above and type another.")
                                  .arg(shortcut)));
    } else {
        notes.push_back(
            works(QStringLiteral("%1 opens the launcher from any program.").arg(shortcut)));
    }
    if (session.typesSnippets) {
        notes.push_back(works(QStringLiteral("Snippets expand as you type them in any program.")));
    } else {
        notes.push_back(fails(QStringLiteral(
            "Snippets cannot expand as you type here: Wayland keeps other programs' keys "
            "private. Insert them from the launcher: type “%1”, a space and the snippet's name.")
                                  .arg(QString::fromStdString(settings.snippets.launcherKeyword))));
    }
    if (session.keepsEveryCopy) {
        notes.push_back(works(QStringLiteral("Every copy is kept in the clipboard history.")));
    } else {
        notes.push_back(fails(QStringLiteral(
            "Copies are kept only while the launcher is open. Install wl-clipboard "
            "(“sudo apt install wl-clipboard”) and start Zeph Launcher again to keep every "
            "copy.")));
    }
    if (session.hasTray) {
        notes.push_back(
            works(QStringLiteral("The tray icon opens the launcher and the settings.")));
    } else {
        notes.push_back(fails(QStringLiteral(
            "This desktop shows no tray icons. Open the settings with Ctrl+, in the launcher, or "
            "with “zeph-launcher --settings”.")));
    }
    return notes;
}

void FirstRunWindow::showNotes()
{
    auto notes = sessionNotes(m_session, m_settings.get(), m_holdsShortcut());
    QString text;
    for (const auto& note : notes)
        text += note + QStringLiteral("\n\n");
    m_notes->setText(text.trimmed());
}

void FirstRunWindow::closeEvent(QCloseEvent* event)
{
    // The user's own close, not the one the application's quitting sends every window.
    bool isUsers = m_isAnswered || event->spontaneous();
    if (isUsers && !m_settings.get().hasCompletedOnboarding) {
        auto settings = m_settings.get();
        settings.hasCompletedOnboarding = true;
        m_settings.set(std::move(settings));
    }
    QWidget::closeEvent(event);
}

} // namespace zeph
