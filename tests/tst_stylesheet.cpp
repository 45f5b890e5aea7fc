#include "cellmarks.h"
#include "pixels.h"
#include "settings.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QFile>
#include <QFrame>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QSpinBox>
#include <QTableWidget>
#include <QTest>
#include <QVBoxLayout>

#include <memory>

// The style sheets on real widgets: what docs/look.md promises is measured in what they paint.
class TestStyleSheet : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void sheetsParseAndFindTheirPictures();
    void coloursCanBeTold_data();
    void coloursCanBeTold();
    void codeDrawsInThePalette();
    void everyRuleIsReadable();
    void settingsGroupsLookAlike_data();
    void settingsGroupsLookAlike();
    void focusIsVisible_data();
    void focusIsVisible();
    void chosenButtonLooksTheSameWhileDisabled_data();
    void chosenButtonLooksTheSameWhileDisabled();
    void valuesKeepTheirOwnColour();
    void aWrongValueIsMarked();
    void aDarkDesktopDoesNotShineThrough();
};

namespace {

QStringList complaints;

void noteComplaint(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type != QtDebugMsg && !message.startsWith(QLatin1String("This plugin does not support"))) {
        complaints.append(message);
    }
}

QString textOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromLatin1(file.readAll()) : QString();
}

QString sheet(const char *name)
{
    return textOf(QStringLiteral(":/files/resources/%1.qss").arg(QLatin1String(name)));
}

// Contrast that text needs, and what only marks a place.
constexpr double text = 4.5;
constexpr double ring = 3.0;

QRgb colour(const QString &name)
{
    const QRegularExpression line(QStringLiteral("^set\\(%1 +\"(#[0-9a-f]{6})\"\\)").arg(name),
                                  QRegularExpression::MultilineOption);
    const QColor found(line.match(textOf(QStringLiteral(PALETTE))).captured(1));
    if (!found.isValid()) {
        qFatal("the palette has no %s", qPrintable(name));
    }
    return found.rgb();
}

// A page as the window has it: white, and with a button that can hold the focus meanwhile.
struct Page
{
    QDialog window;
    QFrame *frame = new QFrame(&window);
    QPushButton *other = new QPushButton(&window);

    explicit Page(QWidget *subject, const char *frameName = "pageUpdate")
    {
        frame->setObjectName(QString::fromLatin1(frameName));
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

QWidget *newControl(const QString &kind)
{
    if (kind == QLatin1String("line edit")) {
        return new QLineEdit;
    }
    if (kind == QLatin1String("spin box")) {
        return new QDoubleSpinBox;
    }
    if (kind == QLatin1String("combo box")) {
        return new QComboBox;
    }
    if (kind.endsWith(QLatin1String("check box"))) {
        auto *box = new QCheckBox;
        box->setChecked(kind.startsWith(QLatin1String("ticked")));
        return box;
    }
    if (kind == QLatin1String("log")) {
        return new QPlainTextEdit;
    }
    if (kind.endsWith(QLatin1String("table"))) {
        return new QTableWidget(2, 2);
    }
    auto *button = new QPushButton(QStringLiteral("Info"));
    button->setAutoDefault(false); // it would be dressed as the default button with the focus
    return button;
}

} // namespace

void TestStyleSheet::initTestCase()
{
    QVERIFY(!sheet("styleSheet").isEmpty());
    qApp->setStyleSheet(sheet("styleSheet"));
}

void TestStyleSheet::sheetsParseAndFindTheirPictures()
{
    const QtMessageHandler previous = qInstallMessageHandler(noteComplaint);
    qApp->setStyleSheet(QString());
    qApp->setStyleSheet(sheet("styleSheet"));
    QPushButton button;
    button.setStyleSheet(sheet("btnSelected"));
    button.ensurePolished();
    QMainWindow window;
    window.show();
    qInstallMessageHandler(previous);
    QVERIFY2(complaints.isEmpty(), qPrintable(complaints.join(QLatin1Char('\n'))));

    static const QRegularExpression url(QStringLiteral("url\\(\"([^\"]*)\"\\)"));
    const QString both = sheet("styleSheet") + sheet("btnSelected");
    int pictures = 0;
    for (auto matches = url.globalMatch(both); matches.hasNext(); ++pictures) {
        const QString path = matches.next().captured(1);
        QVERIFY2(!QImage(path).isNull(), qPrintable(path));
    }
    QCOMPARE(pictures, both.count(QStringLiteral("url(")));
    QVERIFY(pictures > 10);
}

// Which text stands on which ground, and which frame or ring beside what.
void TestStyleSheet::coloursCanBeTold_data()
{
    QTest::addColumn<QStringList>("grounds");
    QTest::addColumn<double>("ratio");
    const auto row = [](const char *name, const char *grounds, double ratio) {
        QTest::addRow("%s %.1f", name, ratio)
            << QString::fromLatin1(grounds).split(QLatin1Char(' ')) << ratio;
    };
    row("ink", "paper window card stripe dull hover pressed blush cream", text);
    row("deep_ink", "tint_hover paper progress", text);
    row("muted", "paper window card dull", text);
    row("blue_text", "tint tint_hover tint_pressed", text);
    row("paper", "blue blue_hover blue_pressed ink", text);
    row("red", "paper window card", text);
    row("edge", "paper", ring);
    row("blue", "paper", ring);
    row("light_ring", "blue_pressed", ring);
    row("progress", "paper", ring);
    row("red", "blush", ring);
    row("amber", "cream tint_hover", ring);
}

void TestStyleSheet::coloursCanBeTold()
{
    QFETCH(QStringList, grounds);
    QFETCH(double, ratio);
    const QString name = QString::fromLatin1(QTest::currentDataTag()).section(QLatin1Char(' '), 0, 0);
    for (const QString &ground : grounds) {
        QVERIFY2(contrast(colour(name), colour(ground)) >= ratio, qPrintable(ground));
    }
}

void TestStyleSheet::codeDrawsInThePalette()
{
    QCOMPARE(cellmarks::wrong, colour(QStringLiteral("red")));
    QCOMPARE(cellmarks::wrongGround, colour(QStringLiteral("blush")));
    QCOMPARE(cellmarks::shared, colour(QStringLiteral("amber")));
    QCOMPARE(cellmarks::sharedGround, colour(QStringLiteral("cream")));
    QCOMPARE(cellmarks::focus, colour(QStringLiteral("blue")));
}

// Rules that give text and ground together.
void TestStyleSheet::everyRuleIsReadable()
{
    static const QRegularExpression rule(QStringLiteral("\\{[^}]*\\}"));
    static const QRegularExpression ground(
        QStringLiteral("(?<![\\w-])background(?:-color)?\\s*:\\s*(#[0-9a-f]{6})"));
    static const QRegularExpression over(QStringLiteral("(?<![\\w-])color\\s*:\\s*(#[0-9a-f]{6})"));
    int together = 0;
    for (const char *name : {"styleSheet", "btnSelected"}) {
        for (auto rules = rule.globalMatch(sheet(name)); rules.hasNext();) {
            const QString body = rules.next().captured();
            const QColor behind(ground.match(body).captured(1));
            const QColor letters(over.match(body).captured(1));
            if (behind.isValid() && letters.isValid()) {
                QVERIFY2(contrast(letters.rgb(), behind.rgb()) >= text, qPrintable(body));
                ++together;
            }
        }
    }
    QVERIFY2(together > 10, qPrintable(QString::number(together)));
}

void TestStyleSheet::settingsGroupsLookAlike_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("ofTheForm"); // the rule names two more
    for (const char *name : {"frameBroadcast", "frameTimeout", "frameTcpOptions"}) {
        QTest::newRow(name) << name << true;
    }
    for (const char *name : {"frameAppearance", "frameManualIP"}) {
        QTest::newRow(name) << name << false;
    }
}

void TestStyleSheet::settingsGroupsLookAlike()
{
    QFETCH(QString, name);
    QFETCH(bool, ofTheForm);
    QCOMPARE(Settings().findChild<QFrame *>(name) != nullptr, ofTheForm);
    Page page(new QLabel, name.toLatin1().constData());
    page.grab(page.other);
    const QImage whole = page.window.grab().toImage();
    const QRect place = page.frame->geometry();
    const QColor ground = whole.pixelColor(2, 2);
    const QColor own(0xfa, 0xfa, 0xfa);
    QVERIFY(ground != own);
    QCOMPARE(whole.pixelColor(place.center().x(), place.top() + 3), own);
    // A round corner of 10 px leaves the dialog to be seen 2 px from the corner, but not 5 px from it.
    QCOMPARE(whole.pixelColor(place.topLeft() + QPoint(2, 2)), ground);
    QCOMPARE(whole.pixelColor(place.topLeft() + QPoint(5, 5)), own);
    QCOMPARE(whole.pixelColor(place.bottomRight() - QPoint(2, 2)), ground);
    QCOMPARE(whole.pixelColor(place.bottomRight() - QPoint(5, 5)), own);
}

void TestStyleSheet::focusIsVisible_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("frame");
    const auto row = [](const char *what, const char *kind, const char *name, const char *frame) {
        QTest::newRow(what) << QString::fromLatin1(kind) << QString::fromLatin1(name)
                            << QString::fromLatin1(frame);
    };
    row("button", "button", "", "pageUpdate");
    row("scan", "button", "scanBtn", "frameHeader");
    row("header button", "button", "configBtn", "frameHeader");
    row("save", "button", "saveConfBtn", "pageConfigure");
    row("update", "button", "updateFwBtn", "pageUpdate");
    for (const char *kind :
         {"line edit", "spin box", "combo box", "check box", "ticked check box", "log", "table"}) {
        row(kind, kind, "", "pageUpdate");
    }
    for (const char *name : {"tableWidgetDeviceFirstTable", "tableInfo", "tableDeviceConfig"}) {
        row(name, "table", name, "pageInfo");
    }
}

// As many pixels as a ring around the control has change by 3:1 or more.
void TestStyleSheet::focusIsVisible()
{
    QFETCH(QString, kind);
    QFETCH(QString, name);
    QFETCH(QString, frame);
    QWidget *control = newControl(kind);
    control->setObjectName(name);
    Page page(control, frame.toLatin1().constData());
    const QImage without = page.grab(page.other);
    const QImage with = page.grab(control);
    int changed = 0;
    for (int y = 0; y < with.height(); ++y) {
        for (int x = 0; x < with.width(); ++x) {
            changed += contrast(with.pixel(x, y), without.pixel(x, y)) >= 3.0 ? 1 : 0;
        }
    }
    const QSize size = qobject_cast<QCheckBox *>(control) ? QSize(14, 14) : control->size();
    const int ring = 2 * (size.width() - 12) + 2 * (size.height() - 12);
    QVERIFY2(changed >= ring, qPrintable(QStringLiteral("%1 of %2").arg(changed).arg(ring)));
}

void TestStyleSheet::chosenButtonLooksTheSameWhileDisabled_data()
{
    QTest::addColumn<QString>("name"); // each row is called as the button's icon
    QTest::newRow("info") << "infoBtn";
    QTest::newRow("cpu") << "updateBtn";
    QTest::newRow("tool") << "configBtn";
}

void TestStyleSheet::chosenButtonLooksTheSameWhileDisabled()
{
    QFETCH(QString, name);
    auto *button = new QPushButton(QStringLiteral("Configuration page"));
    button->setObjectName(name);
    button->setIcon(QIcon(
        QStringLiteral(":/iconsPng/resources/icons/%1.png").arg(QLatin1String(QTest::currentDataTag()))));
    button->setAutoDefault(false);
    Page page(button, "frameHeader");
    const QImage plain = page.grab(page.other);
    const QSize size = button->sizeHint();

    button->setStyleSheet(sheet("btnSelected"));
    const QImage chosen = page.grab(page.other);
    QCOMPARE(button->sizeHint(), size); // the header does not move
    button->setEnabled(false);
    const QImage disabled = page.grab(page.other);
    QVERIFY(chosen != plain);
    const QColor blueText(0x0a, 0x4d, 0x85);
    const int half = disabled.width() / 2;
    QVERIFY(showsColour(disabled.copy(half, 0, half, disabled.height()), blueText)); // of the text alone
    button->setText(QString());                                                      // of the icon alone
    QVERIFY(showsColour(page.grab(page.other), blueText));
}

void TestStyleSheet::valuesKeepTheirOwnColour()
{
    auto *table = new QTableWidget(2, 1);
    table->setObjectName(QStringLiteral("tableDeviceConfig"));
    const QVector<QColor> colours{QColor(128, 128, 128), QColor(0, 0, 0)};
    for (int row = 0; row < 2; ++row) {
        auto *item = new QTableWidgetItem(QString(3, QChar(0x2588))); // solid blocks
        item->setForeground(colours[row]);
        table->setItem(row, 0, item);
    }
    Page page(table, "pageConfigure");
    const QImage image = page.grab(page.other);
    QVERIFY(showsColour(image, colours[0]));
    QVERIFY(showsColour(image, colours[1]));
}

void TestStyleSheet::aWrongValueIsMarked()
{
    auto *edit = new QLineEdit(QStringLiteral("192.168.0"));
    Page page(edit);
    const QColor red(0xb3, 0x26, 0x1e);
    QVERIFY(!showsColour(page.grab(page.other), red));
    for (QWidget *focus : {static_cast<QWidget *>(page.other), static_cast<QWidget *>(edit)}) {
        edit->setProperty("invalid", true);
        edit->style()->unpolish(edit);
        edit->style()->polish(edit);
        QVERIFY(showsColour(page.grab(focus), red));
    }
}

static std::unique_ptr<QDialog> dialogWithEverything()
{
    auto dialog = std::make_unique<QDialog>();
    auto *layout = new QVBoxLayout(dialog.get());
    auto *label = new QLabel(QStringLiteral("Scan Timeout [s]"));
    layout->addWidget(label);
    for (const char *kind : {"button", "line edit", "spin box", "combo box", "check box", "log", "table"}) {
        for (const bool enabled : {true, false}) {
            QWidget *control = newControl(QString::fromLatin1(kind));
            control->setMaximumHeight(60);
            control->setEnabled(enabled);
            layout->addWidget(control);
        }
    }
    auto *table = new QTableWidget(3, 2);
    table->setAlternatingRowColors(true);
    table->setItem(0, 0, new QTableWidgetItem(QStringLiteral("192.168.0.10")));
    table->selectRow(0);
    layout->addWidget(table);
    auto *bar = new QProgressBar;
    bar->setValue(40);
    layout->addWidget(bar);
    auto *menu = new QMenuBar;
    menu->addMenu(QStringLiteral("File"));
    layout->setMenuBar(menu);
    return dialog;
}

void TestStyleSheet::aDarkDesktopDoesNotShineThrough()
{
    const QPalette light = QApplication::palette();
    const QPalette dark(QColor(50, 50, 50), QColor(30, 30, 30));
    QCOMPARE(dark.color(QPalette::WindowText), QColor(Qt::white));
    QVector<QImage> images;
    for (const QPalette &palette : {light, dark}) {
        QApplication::setPalette(palette);
        qApp->setStyleSheet(sheet("styleSheet"));
        const std::unique_ptr<QDialog> dialog = dialogWithEverything();
        dialog->show();
        QApplication::processEvents();
        images.append(dialog->grab().toImage());
    }
    QApplication::setPalette(light);
    QVERIFY(images[0] == images[1]);
}

QTEST_MAIN(TestStyleSheet)
#include "tst_stylesheet.moc"
