// A window with one text field, standing for any program the user types into. It puts a text of
// its own on the clipboard at start, and writes its field's text and caret position, and the
// clipboard's text, to the two files named on its command line after every change.

#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QLineEdit>

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
    auto report = [&] {
        write(fieldFile, field.text().toUtf8() + "\n" + QByteArray::number(field.cursorPosition()));
    };
    QObject::connect(&field, &QLineEdit::textChanged, report);
    QObject::connect(&field, &QLineEdit::cursorPositionChanged, report);
    QObject::connect(QGuiApplication::clipboard(), &QClipboard::dataChanged,
        [&] { write(clipboardFile, QGuiApplication::clipboard()->text().toUtf8()); });
    QGuiApplication::clipboard()->setText(QStringLiteral("kept before"));
    field.show();
    field.activateWindow();
    return QApplication::exec();
}
