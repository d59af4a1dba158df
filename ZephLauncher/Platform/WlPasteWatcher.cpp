#include "Platform/WlPasteWatcher.h"

#include <csignal>
#include <sys/prctl.h>

#include <QProcess>
#include <QTimer>

namespace zeph {

namespace {

constexpr std::string_view textTypes[]
    = { "text/plain;charset=utf-8", "UTF8_STRING", "text/plain", "STRING", "TEXT" };

// The watch child ends with this program, however this program ends.
void endWithParent(QProcess& process)
{
    process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGTERM); });
}

constexpr int readTimeoutMs = 3000;

} // namespace

WlPasteWatcher::WlPasteWatcher(std::function<void(ClipboardOffer)> onOffer, QString program)
    : m_onOffer(std::move(onOffer))
    , m_program(std::move(program))
{
}

WlPasteWatcher::~WlPasteWatcher()
{
    if (m_watch) {
        m_watch->disconnect();
        m_watch->kill();
        m_watch->waitForFinished(1000);
    }
}

bool WlPasteWatcher::start()
{
    m_watch = std::make_unique<QProcess>();
    endWithParent(*m_watch);
    m_watch->setProcessChannelMode(QProcess::SeparateChannels);
    // The command wl-paste runs for each change drains the contents it is given and prints the
    // offer's state, one line a change; the contents are read afterwards only if they may be.
    m_watch->start(m_program,
        { QStringLiteral("--watch"), QStringLiteral("sh"), QStringLiteral("-c"),
            QStringLiteral("cat > /dev/null; printf '%s\\n' \"${CLIPBOARD_STATE:-data}\"") });
    if (!m_watch->waitForStarted(2000)) {
        m_watch.reset();
        return false;
    }
    connect(m_watch.get(), &QProcess::readyReadStandardOutput, this, [this] {
        m_pending += m_watch->readAllStandardOutput();
        for (auto end = m_pending.indexOf('\n'); end >= 0; end = m_pending.indexOf('\n')) {
            auto line = m_pending.left(end).trimmed().toStdString();
            m_pending.remove(0, end + 1);
            changed(std::move(line));
        }
    });
    return true;
}

bool WlPasteWatcher::isRunning() const
{
    return m_watch && m_watch->state() == QProcess::Running;
}

std::optional<std::string> WlPasteWatcher::typeToRead(const std::vector<std::string>& types)
{
    for (auto wanted : textTypes) {
        if (std::find(types.begin(), types.end(), wanted) != types.end())
            return std::string(wanted);
    }
    if (std::find(types.begin(), types.end(), "image/png") != types.end())
        return "image/png";
    return std::nullopt;
}

void WlPasteWatcher::changed(std::string state)
{
    auto generation = ++m_generation;
    // "nil": the clipboard was emptied, which leaves nothing to keep.
    if (state == "nil" || state == "clear")
        return;
    ClipboardOffer offer { .state = std::move(state) };
    if (offer.state == "sensitive") {
        m_onOffer(std::move(offer));
        return;
    }
    run({ QStringLiteral("--list-types") },
        [this, generation, offer = std::move(offer)](QByteArray output) mutable {
            for (const auto& line : output.split('\n')) {
                if (!line.trimmed().isEmpty())
                    offer.types.push_back(line.trimmed().toStdString());
            }
            read(generation, std::move(offer));
        });
}

void WlPasteWatcher::read(std::uint64_t generation, ClipboardOffer offer)
{
    if (generation != m_generation)
        return;
    auto type = typeToRead(offer.types);
    if (!type) {
        m_onOffer(std::move(offer));
        return;
    }
    run({ QStringLiteral("--no-newline"), QStringLiteral("--type"), QString::fromStdString(*type) },
        [this, generation, offer = std::move(offer), isImage = *type == "image/png"](
            QByteArray output) mutable {
            if (generation != m_generation)
                return;
            (isImage ? offer.png : offer.text) = output.toStdString();
            m_onOffer(std::move(offer));
        });
}

void WlPasteWatcher::run(QStringList arguments, std::function<void(QByteArray)> done)
{
    auto* process = new QProcess(this);
    connect(process, &QProcess::finished, this,
        [process, done = std::move(done)](int exitCode, QProcess::ExitStatus status) {
            process->deleteLater();
            // An empty clipboard fails the run; a hung one is ended below. Neither is an offer.
            if (status == QProcess::NormalExit && exitCode == 0)
                done(process->readAllStandardOutput());
        });
    // The program that owns the clipboard sends the contents; one that never does is not waited
    // for.
    QTimer::singleShot(readTimeoutMs, process, [process] { process->kill(); });
    connect(process, &QProcess::errorOccurred, this, [process](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            process->deleteLater();
    });
    process->start(m_program, arguments);
}

} // namespace zeph
