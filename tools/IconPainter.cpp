// Draws the program's icons and pixmaps into PNG files at build time, so that the
// images are the project's own and need no drawing tool on the build machine.
//
//   iconpainter OUTPUT_SHARE_DIRECTORY [HICOLOR_DIRECTORY ICON_NAME]
//
// With the second pair, the application icon is also drawn at the sizes of the
// desktop's hicolor icon theme, as HICOLOR_DIRECTORY/NxN/apps/ICON_NAME.png.

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include <cstdio>
#include <functional>

namespace {

const int kIcon = 16;

QImage canvas(int size)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

// A check-box frame as the table shows it: marked actions sit inside it.
void drawBox(QPainter& p, const QColor& fill)
{
    p.setPen(QPen(QColor(0x55, 0x55, 0x55), 1));
    p.setBrush(fill);
    p.drawRoundedRect(QRectF(1.5, 1.5, 12, 12), 2, 2);
}

void drawCheck(QPainter& p, const QColor& colour, qreal width, qreal scale = 1.0)
{
    QPainterPath path;
    path.moveTo(3.5 * scale, 8.5 * scale);
    path.lineTo(6.5 * scale, 11.5 * scale);
    path.lineTo(12.5 * scale, 4 * scale);
    p.setPen(QPen(colour, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    p.drawPath(path);
}

void drawArrowUp(QPainter& p, const QColor& colour, qreal scale = 1.0)
{
    QPainterPath path;
    path.moveTo(8 * scale, 2.5 * scale);
    path.lineTo(13 * scale, 8 * scale);
    path.lineTo(10 * scale, 8 * scale);
    path.lineTo(10 * scale, 13.5 * scale);
    path.lineTo(6 * scale, 13.5 * scale);
    path.lineTo(6 * scale, 8 * scale);
    path.lineTo(3 * scale, 8 * scale);
    path.closeSubpath();
    p.setPen(QPen(colour.darker(150), 1 * scale));
    p.setBrush(colour);
    p.drawPath(path);
}

void drawPlus(QPainter& p, const QColor& colour, qreal scale = 1.0)
{
    p.setPen(QPen(colour, 2.5 * scale, Qt::SolidLine, Qt::SquareCap));
    p.drawLine(QPointF(8 * scale, 4 * scale), QPointF(8 * scale, 12 * scale));
    p.drawLine(QPointF(4 * scale, 8 * scale), QPointF(12 * scale, 8 * scale));
}

void drawCross(QPainter& p, const QColor& colour, qreal scale = 1.0)
{
    p.setPen(QPen(colour, 2.5 * scale, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(4.5 * scale, 4.5 * scale), QPointF(11.5 * scale, 11.5 * scale));
    p.drawLine(QPointF(11.5 * scale, 4.5 * scale), QPointF(4.5 * scale, 11.5 * scale));
}

void drawParcel(QPainter& p, const QRectF& r, const QColor& colour)
{
    p.setPen(QPen(colour.darker(170), 1));
    p.setBrush(colour);
    p.drawRect(r);
    p.setPen(QPen(colour.darker(220), 1));
    p.drawLine(QPointF(r.center().x(), r.top()), QPointF(r.center().x(), r.top() + r.height() / 2.5));
}

const QColor kGreen(0x2e, 0x9e, 0x2e);
const QColor kOrange(0xe0, 0x80, 0x10);
const QColor kBlue(0x28, 0x6e, 0xd0);
const QColor kRed(0xd0, 0x20, 0x20);
const QColor kParcel(0xc8, 0x9a, 0x5a);

// The application icon, drawn on a 64-unit canvas; the painter scales it to any size.
void drawApplicationIcon(QPainter& p)
{
    p.setPen(QPen(kBlue.darker(160), 3));
    p.setBrush(kBlue);
    p.drawEllipse(QRectF(3, 3, 58, 58));
    drawParcel(p, QRectF(16, 22, 32, 26), kParcel);
    p.save();
    p.translate(28, 2);
    p.scale(2, 2);
    drawCheck(p, Qt::white, 2.2);
    p.restore();
}

struct Picture {
    const char* path;
    int size;
    std::function<void(QPainter&)> draw;
    QString absolutePath = QString(); // where path is null
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2 && argc != 4) {
        std::fprintf(stderr, "usage: %s OUTPUT_SHARE_DIRECTORY [HICOLOR_DIRECTORY ICON_NAME]\n",
                     argv[0]);
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QDir out(QString::fromLocal8Bit(argv[1]));

    QList<Picture> pictures = {
        { "icons/update.png", kIcon, [](QPainter& p) { drawArrowUp(p, kOrange); } },
        { "icons/check.png", kIcon, [](QPainter& p) { drawCheck(p, kGreen, 2.5); } },
        { "icons/install.png", kIcon, [](QPainter& p) { drawPlus(p, kBlue); } },
        { "icons/remove.png", kIcon, [](QPainter& p) { drawCross(p, kRed); } },
        { "icons/out-of-date.png", kIcon,
          [](QPainter& p) {
              p.setPen(QPen(kRed.darker(140), 1));
              p.setBrush(kRed);
              p.drawEllipse(QRectF(2.5, 2.5, 11, 11));
              p.setPen(QPen(Qt::white, 2, Qt::SolidLine, Qt::RoundCap));
              p.drawLine(QPointF(8, 5), QPointF(8, 8.5));
              p.drawPoint(QPointF(8, 11));
          } },
        // An update that fixes a security advisory: a shield instead of the disc.
        { "icons/out-of-date-security.png", kIcon,
          [](QPainter& p) {
              QPainterPath shield;
              shield.moveTo(8, 1);
              shield.lineTo(14, 3.5);
              shield.cubicTo(14, 9.5, 11.5, 13, 8, 15);
              shield.cubicTo(4.5, 13, 2, 9.5, 2, 3.5);
              shield.closeSubpath();
              p.setPen(QPen(kRed.darker(160), 1));
              p.setBrush(kRed.darker(115));
              p.drawPath(shield);
              p.setPen(QPen(Qt::white, 2, Qt::SolidLine, Qt::RoundCap));
              p.drawLine(QPointF(8, 4.5), QPointF(8, 8.5));
              p.drawPoint(QPointF(8, 11.5));
          } },
        { "icons/up-to-date.png", kIcon,
          [](QPainter& p) {
              p.setPen(QPen(kGreen.darker(140), 1));
              p.setBrush(kGreen);
              p.drawEllipse(QRectF(2.5, 2.5, 11, 11));
              drawCheck(p, Qt::white, 1.8);
          } },
        { "icons/noneBox.png", kIcon, [](QPainter& p) { drawBox(p, Qt::white); } },
        { "icons/updateBox.png", kIcon,
          [](QPainter& p) {
              drawBox(p, Qt::white);
              p.save();
              p.translate(2, 2);
              p.scale(0.75, 0.75);
              drawArrowUp(p, kOrange);
              p.restore();
          } },
        { "icons/installBox.png", kIcon,
          [](QPainter& p) {
              drawBox(p, Qt::white);
              p.translate(-0.5, -0.5);
              drawPlus(p, kBlue);
          } },
        { "icons/removeBox.png", kIcon,
          [](QPainter& p) {
              drawBox(p, Qt::white);
              p.translate(-0.5, -0.5);
              drawCross(p, kRed);
          } },
        { "icons/checkBox.png", kIcon,
          [](QPainter& p) {
              drawBox(p, Qt::white);
              p.translate(-0.5, -0.5);
              drawCheck(p, kGreen, 2);
          } },
        { "icons/package.png", kIcon, [](QPainter& p) { drawParcel(p, QRectF(2.5, 3.5, 11, 10), kParcel); } },
        { "icons/group.png", kIcon,
          [](QPainter& p) {
              drawParcel(p, QRectF(1.5, 7.5, 7, 6), kParcel);
              drawParcel(p, QRectF(7.5, 7.5, 7, 6), kParcel.lighter(110));
              drawParcel(p, QRectF(4.5, 1.5, 7, 6), kParcel.darker(110));
          } },
        { "icons/suite.png", kIcon,
          [](QPainter& p) {
              p.setPen(QPen(kBlue.darker(150), 1));
              p.setBrush(kBlue.lighter(160));
              p.drawRoundedRect(QRectF(0.5, 0.5, 15, 15), 2, 2);
              drawParcel(p, QRectF(2.5, 8.5, 5, 5), kParcel);
              drawParcel(p, QRectF(8.5, 8.5, 5, 5), kParcel);
              drawParcel(p, QRectF(5.5, 2.5, 5, 5), kParcel);
          } },
        { "pixmaps/orvo.icon.png", 64, drawApplicationIcon },
    };

    if (argc == 4) {
        const QString theme = QString::fromLocal8Bit(argv[2]);
        const QString name = QString::fromLocal8Bit(argv[3]);
        for (const int size : { 16, 22, 24, 32, 48, 64, 128, 256 }) {
            const QString path = QStringLiteral("%1/%2x%2/apps/%3.png").arg(theme).arg(size).arg(name);
            const auto draw = [size](QPainter& p) {
                p.scale(size / 64.0, size / 64.0);
                drawApplicationIcon(p);
            };
            pictures.append({ nullptr, size, draw, path });
        }
    }

    for (const Picture& picture : pictures) {
        QImage image = canvas(picture.size);
        {
            QPainter painter(&image);
            painter.setRenderHint(QPainter::Antialiasing);
            picture.draw(painter);
        }
        const QString path = picture.path ? out.filePath(QString::fromLatin1(picture.path))
                                          : picture.absolutePath;
        if (!QDir().mkpath(QFileInfo(path).path()) || !image.save(path, "PNG")) {
            std::fprintf(stderr, "iconpainter: cannot write %s\n", qPrintable(path));
            return 1;
        }
    }
    return 0;
}
