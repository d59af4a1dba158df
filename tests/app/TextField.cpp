// A window with one text field, standing for any program the user types into. It puts a text of
// its own on the clipboard at start, and writes its field's text and caret position, and the
// clipboard's text, to the two files named on its command line after every change. F2 copies a
// password as password managers do (marked secret), F3 copies a plain text, F4 an image, F5 a long
// text (360 KB), F6 takes the focus again. With ZEPH_TEST_FIELD_ECHO=password the field is a
// password field.

#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QImage>
#include <QLineEdit>
#include <QMimeData>
#include <QShortcut>

namespace {

void write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(bytes);
}

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    if (argc < 3)
        return 2;
    auto fieldFile = QString::fromLocal8Bit(argv[1]);
    auto clipboardFile = QString::fromLocal8Bit(argv[2]);
    QLineEdit field;
    field.setWindowTitle(QStringLiteral("Zeph Test Field"));
    field.resize(480, 40);
    if (qgetenv("ZEPH_TEST_FIELD_ECHO") == "password")
        field.setEchoMode(QLineEdit::Password);
    auto report = [&] {
        write(fieldFile, field.text().toUtf8() + "\n" + QByteArray::number(field.cursorPosition()));
    };
    QObject::connect(&field, &QLineEdit::textChanged, report);
    QObject::connect(&field, &QLineEdit::cursorPositionChanged, report);
    QObject::connect(QGuiApplication::clipboard(), &QClipboard::dataChanged,
        [&] { write(clipboardFile, QGuiApplication::clipboard()->text().toUtf8()); });
    QGuiApplication::clipboard()->setText(QStringLiteral("kept before"));
    QShortcut secret(QKeySequence(Qt::Key_F2), &field);
    QObject::connect(&secret, &QShortcut::activated, [] {
        auto* data = new QMimeData;
        data->setText(QStringLiteral("hunter2 secret"));
        data->setData(QStringLiteral("x-kde-passwordManagerHint"), "secret");
        QGuiApplication::clipboard()->setMimeData(data);
    });
    QShortcut plain(QKeySequence(Qt::Key_F3), &field);
    QObject::connect(&plain, &QShortcut::activated,
        [] { QGuiApplication::clipboard()->setText(QStringLiteral("a plain copy")); });
    QShortcut image(QKeySequence(Qt::Key_F4), &field);
    QObject::connect(&image, &QShortcut::activated, [] {
        QImage red(12, 8, QImage::Format_RGB32);
        red.fill(Qt::red);
        QGuiApplication::clipboard()->setImage(red);
    });
    QShortcut longText(QKeySequence(Qt::Key_F5), &field);
    QObject::connect(&longText, &QShortcut::activated, [] {
        QGuiApplication::clipboard()->setText(QStringLiteral("a long copy ").repeated(30'000));
    });
    // The field takes the focus again, which an accessibility bridge that joined late reports.
    QShortcut refocus(QKeySequence(Qt::Key_F6), &field);
    QObject::connect(&refocus, &QShortcut::activated, [&] {
        field.clearFocus();
        field.setFocus();
    });
    field.show();
    field.activateWindow();
    return QApplication::exec();
}
