#include "cellmarks.h"
#include "devicecatalogue.h"
#include "devicetables.h"
#include "pixels.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDirIterator>
#include <QFile>
#include <QFrame>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QSpinBox>
#include <QTableWidget>
#include <QTest>
#include <QVBoxLayout>

#include <functional>

// What is compiled in (style sheets, pictures, texts), and on real widgets what the sheets paint.
class TestLook : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void sheetsParseAndFindTheirPictures();
    void coloursCanBeTold();
    void everyRuleIsReadable();
    void controlsShowTheirState_data();
    void controlsShowTheirState();
    void chosenButtonLooksTheSameWhileDisabled_data();
    void chosenButtonLooksTheSameWhileDisabled();
    void meaningKeepsItsColour();
    void picturesAreThere();
    void textsReadTheSameInEveryEncoding();
};

namespace {

// Contrast that text needs, and what only marks a place.
constexpr double text = 4.5;
constexpr double ring = 3.0;

QStringList complaints;

void noteComplaint(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type != QtDebugMsg && !message.startsWith(QLatin1String("This plugin does not support"))) {
        complaints.append(message);
    }
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString sheet(const char *name)
{
    return QString::fromLatin1(
        contentOf(QStringLiteral(":/files/resources/%1.qss").arg(QLatin1String(name))));
}

QRgb colour(const char *name)
{
    const QRegularExpression line(QStringLiteral("\nset\\(%1 +\"(#[0-9a-f]{6})").arg(QLatin1String(name)));
    const QColor found(line.match(QString::fromUtf8(contentOf(QStringLiteral(PALETTE)))).captured(1));
    if (!found.isValid()) {
        qFatal("the palette has no %s", name);
    }
    return found.rgb();
}

// A page as the window has it: white, and with a button that can hold the focus meanwhile.
struct Page
{
    QDialog window;
    QFrame *frame = new QFrame(&window);
    QPushButton *other = new QPushButton(&window);

    explicit Page(QWidget *subject, const QString &frameName = QStringLiteral("pageUpdate"))
    {
        frame->setObjectName(frameName);
        auto *outer = new QVBoxLayout(&window);
        outer->addWidget(frame);
        outer->addWidget(other);
        (new QVBoxLayout(frame))->addWidget(subject);
        other->setAutoDefault(false);
    }

    QImage grab(QWidget *focus)
    {
        window.show();
        QApplication::setActiveWindow(&window);
        focus->setFocus(Qt::TabFocusReason);
        QApplication::processEvents();
        return frame->grab().toImage();
    }
};

QWidget *newButton()
{
    auto *button = new QPushButton(QStringLiteral("Info"));
    button->setAutoDefault(false); // it would be dressed as the default button with the focus
    return button;
}

QWidget *newTickedBox()
{
    auto *box = new QCheckBox;
    box->setChecked(true);
    return box;
}

const QVector<QPair<const char *, std::function<QWidget *()>>> controls{
    {"button", newButton},
    {"ticked check box", newTickedBox},
    {"check box", [] { return new QCheckBox; }},
    {"line edit", [] { return new QLineEdit; }},
    {"spin box", [] { return new QDoubleSpinBox; }},
    {"combo box", [] { return new QComboBox; }},
    {"log", [] { return new QPlainTextEdit; }},
    {"table", [] { return new QTableWidget(2, 2); }},
};

} // namespace

void TestLook::initTestCase()
{
    QVERIFY(!sheet("styleSheet").isEmpty());
    qApp->setStyleSheet(sheet("styleSheet"));
}

void TestLook::sheetsParseAndFindTheirPictures()
{
    const QtMessageHandler previous = qInstallMessageHandler(noteComplaint);
    qApp->setStyleSheet(QString());
    qApp->setStyleSheet(sheet("styleSheet"));
    QPushButton button;
    button.setStyleSheet(sheet("btnSelected"));
    button.ensurePolished();
    QDialog window;
    window.show();
    qInstallMessageHandler(previous);
    QVERIFY2(complaints.isEmpty(), qPrintable(complaints.join(QLatin1Char('\n'))));

    const QString both = sheet("styleSheet") + sheet("btnSelected");
    QVERIFY2(!both.contains(QLatin1String(" ;")), "a colour that the palette does not have");

    static const QRegularExpression url(QStringLiteral("url\\(\"([^\"]*)\"\\)"));
    int pictures = 0;
    for (auto matches = url.globalMatch(both); matches.hasNext();) {
        const QString path = matches.next().captured(1);
        QVERIFY2(!QImage(path).isNull(), qPrintable(path));
        ++pictures;
    }
    QVERIFY(pictures > 30);
}

void TestLook::coloursCanBeTold()
{
    struct Pairs
    {
        const char *name;
        const char *beside; // grounds, or what a frame or ring lies on
        double ratio;
    };
    for (const Pairs &pairs : {Pairs{"ink", "paper window card stripe dull hover pressed blush cream", text},
                               {"deep_ink", "tint_hover paper progress", text},
                               {"muted", "paper window card dull", text},
                               {"blue_text", "tint tint_hover tint_pressed", text},
                               {"paper", "blue blue_hover blue_pressed ink", text},
                               {"red", "paper window card", text},
                               {"edge", "paper", ring},
                               {"blue", "paper", ring},
                               {"light_ring", "blue_pressed", ring},
                               {"progress", "paper", ring},
                               {"red", "blush", ring},
                               {"amber", "cream tint_hover", ring}}) {
        for (const QByteArray &beside : QByteArray(pairs.beside).split(' ')) {
            QVERIFY2(contrast(colour(pairs.name), colour(beside)) >= pairs.ratio,
                     QByteArray(pairs.name) + " on " + beside);
        }
    }
    // Code draws in the same colours.
    const QVector<QRgb> drawn{cellmarks::wrong, cellmarks::wrongGround, cellmarks::shared,
                              cellmarks::sharedGround, cellmarks::focus};
    QCOMPARE(drawn, (QVector<QRgb>{colour("red"), colour("blush"), colour("amber"), colour("cream"),
                                   colour("blue")}));
}

// Rules that give text and ground together.
void TestLook::everyRuleIsReadable()
{
    static const QRegularExpression pair(
        QStringLiteral(" background-color: (#\\w{6});[^}]* color: (#\\w{6});"));
    int together = 0;
    for (auto rules = pair.globalMatch(sheet("styleSheet") + sheet("btnSelected")); rules.hasNext();) {
        const QRegularExpressionMatch rule = rules.next();
        const QColor ground(rule.captured(1));
        QVERIFY2(contrast(QColor(rule.captured(2)).rgb(), ground.rgb()) >= text, qPrintable(rule.captured()));
        ++together;
    }
    QVERIFY2(together > 10, qPrintable(QString::number(together)));
}

void TestLook::controlsShowTheirState_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("frame");
    for (int kind = 0; kind < controls.size(); ++kind) {
        QTest::newRow(controls[kind].first) << kind << "pageUpdate";
    }
    // The sheet knows these by their names.
    for (const char *name : {"scanBtn", "configBtn", "saveConfBtn", "updateFwBtn"}) {
        QTest::newRow(name) << 0 << "frameHeader";
    }
    for (const char *name : {"tableWidgetDeviceFirstTable", "tableInfo", "tableDeviceConfig"}) {
        QTest::newRow(name) << int(controls.size()) - 1 << "pageInfo";
    }
}

// With the focus, as many pixels as a ring around the control has change enough to be seen. And a desktop
// with dark colours changes none at all.
void TestLook::controlsShowTheirState()
{
    QFETCH(int, kind);
    QFETCH(QString, frame);
    QSize size;
    const auto draw = [&](bool focus, bool enabled) {
        QWidget *control = controls[kind].second();
        control->setObjectName(QString::fromLatin1(QTest::currentDataTag()));
        control->setEnabled(enabled);
        Page page(control, frame);
        const QImage image = page.grab(focus ? control : page.other);
        size = qobject_cast<QCheckBox *>(control) ? QSize(14, 14) : control->size();
        return image;
    };
    const QImage without = draw(false, true);
    const QImage with = draw(true, true);
    int changed = 0;
    for (int y = 0; y < with.height(); ++y) {
        for (int x = 0; x < with.width(); ++x) {
            changed += contrast(with.pixel(x, y), without.pixel(x, y)) >= ring ? 1 : 0;
        }
    }
    const int around = 2 * (size.width() - 12) + 2 * (size.height() - 12);
    QVERIFY2(changed >= around, qPrintable(QStringLiteral("%1 of %2").arg(changed).arg(around)));

    const QImage disabled = draw(false, false);
    const QPalette light = QApplication::palette();
    QApplication::setPalette(QPalette(QColor(50, 50, 50), QColor(30, 30, 30)));
    qApp->setStyleSheet(sheet("styleSheet"));
    // Qt greys a disabled picture with the desktop's colours.
    const bool greyed = frame == QLatin1String("frameHeader");
    const bool sameOnDark = draw(true, true) == with && (greyed || draw(false, false) == disabled);
    QApplication::setPalette(light);
    qApp->setStyleSheet(sheet("styleSheet"));
    QVERIFY(sameOnDark);
}

void TestLook::chosenButtonLooksTheSameWhileDisabled_data()
{
    QTest::addColumn<QString>("icon");
    QTest::newRow("infoBtn") << ":/iconsPng/resources/icons/info.png";
    QTest::newRow("updateBtn") << ":/iconsPng/resources/icons/cpu.png";
    QTest::newRow("configBtn") << ":/iconsPng/resources/icons/tool.png";
}

void TestLook::chosenButtonLooksTheSameWhileDisabled()
{
    QFETCH(QString, icon);
    auto *button = new QPushButton(QStringLiteral("Configuration page"));
    button->setObjectName(QString::fromLatin1(QTest::currentDataTag()));
    button->setIcon(QIcon(icon));
    button->setAutoDefault(false);
    Page page(button, QStringLiteral("frameHeader"));
    const QImage plain = page.grab(page.other);
    const QSize size = button->sizeHint();

    button->setStyleSheet(sheet("btnSelected"));
    const QImage chosen = page.grab(page.other);
    QCOMPARE(button->sizeHint(), size); // the header does not move
    button->setEnabled(false);
    const QImage disabled = page.grab(page.other);
    QVERIFY(chosen != plain);
    const QColor blueText(colour("blue_text"));
    const int half = disabled.width() / 2;
    QVERIFY(showsColour(disabled.copy(half, 0, half, disabled.height()), blueText)); // of the text alone
    button->setText(QString());                                                      // of the icon alone
    QVERIFY(showsColour(page.grab(page.other), blueText));
}

// A locked value is grey, a wrong one red, whatever the sheet says of others.
void TestLook::meaningKeepsItsColour()
{
    auto *table = new QTableWidget(1, 1);
    table->setObjectName(QStringLiteral("tableDeviceConfig"));
    const QColor locked(128, 128, 128);
    table->setItem(0, 0, new QTableWidgetItem(QString(3, QChar(0x2588)))); // solid blocks
    table->item(0, 0)->setForeground(locked);
    Page values(table, QStringLiteral("pageConfigure"));
    QVERIFY(showsColour(values.grab(values.other), locked));

    auto *edit = new QLineEdit(QStringLiteral("192.168.0"));
    Page page(edit);
    QVERIFY(!showsColour(page.grab(page.other), colour("red")));
    edit->setProperty("invalid", true);
    edit->style()->unpolish(edit);
    edit->style()->polish(edit);
    QVERIFY(showsColour(page.grab(page.other), colour("red")));
    QVERIFY(showsColour(page.grab(edit), colour("red")));
}

// Each product line has one of its own, the lines of code 1900 one for each maker; all are sharp at both
// scales.
void TestLook::picturesAreThere()
{
    QMap<QString, QString> groupOf;
    for (int number = 0x1000; number < 0x7000; ++number) {
        const QString code = QString::number(number, 16).toUpper();
        for (int brand = 0; brand < devicetables::brandCount && devicecatalogue::contains(code); ++brand) {
            const QString path = devicecatalogue::deviceIconPath(code, devicetables::brandName(brand));
            QCOMPARE(groupOf.value(path, devicecatalogue::group(code)), devicecatalogue::group(code));
            groupOf.insert(path, devicecatalogue::group(code));
        }
    }
    QStringList paths = groupOf.keys();
    for (const char *root : {":/iconsPng", ":/images"}) {
        QDirIterator files(QString::fromLatin1(root), QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            paths.append(files.next());
        }
    }
    paths.removeDuplicates();
    QVector<QImage> seen;
    for (const QString &path : qAsConst(paths)) {
        if (!path.endsWith(QLatin1String("@2x.png"))) {
            const QImage image(path);
            const QImage large(QString(path).replace(QLatin1String(".png"), QLatin1String("@2x.png")));
            QVERIFY2(!image.isNull() && large.size() == image.size() * 2, qPrintable(path));
            QVERIFY2(!seen.contains(image), qPrintable(path));
            seen.append(image);
        }
    }
    QVERIFY(groupOf.size() > 20 && seen.size() > groupOf.size() + 20);
}

// They are read as Latin-1 and end at a NUL byte, so they hold nothing but ASCII.
void TestLook::textsReadTheSameInEveryEncoding()
{
    for (const char *path :
         {":/otherFiles/changelogNEW.md", ":/files/resources/about", ":/files/resources/supportedDevices",
          ":/files/resources/styleSheet.qss", ":/files/resources/btnSelected.qss"}) {
        const QByteArray bytes = contentOf(QString::fromLatin1(path));
        QVERIFY2(bytes.size() > 100, path);
        for (const char byte : bytes) {
            QVERIFY2(byte == '\n' || (byte >= ' ' && byte <= '~'), path);
        }
    }
    QVERIFY(contentOf(QStringLiteral(":/files/resources/about"))
                .startsWith("Device Manager " PROJECT_VERSION "\n"));
}

QTEST_MAIN(TestLook)
#include "tst_look.moc"
