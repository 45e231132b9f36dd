// zq-gallery: shows every control in every state and every image.
//   zq-gallery                       the gallery window
//   zq-gallery --write-png DIR       one PNG per control and state
//              [--ratio R]           device pixel ratio of the PNGs (default 2)

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QGridLayout>
#include <QLabel>
#include <QScrollArea>
#include <QTextStream>
#include <QVBoxLayout>

#include "Gallery.h"
#include "platform/Translations.h"

namespace {

int writeAll(const QString& folder, qreal ratio) {
    QDir dir(folder);
    if (!dir.mkpath(QStringLiteral("."))) {
        QTextStream(stderr) << "zq-gallery: cannot create " << folder << "\n";
        return 1;
    }
    int written = 0;
    for (const GalleryItem& item : galleryItems()) {
        QWidget* sample = item.make();
        const QString file = dir.filePath(item.name + QLatin1Char('-') + item.state + ".png");
        const bool ok = writeSamplePng(sample, file, ratio);
        delete sample;
        if (!ok) {
            QTextStream(stderr) << "zq-gallery: cannot write " << file << "\n";
            return 1;
        }
        ++written;
    }
    QTextStream(stdout) << written << " images written to " << dir.absolutePath() << "\n";
    return 0;
}

QWidget* buildWindow() {
    auto* scroll = new QScrollArea;
    scroll->setWindowTitle(QStringLiteral("ZQAssistPanel controls"));
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    QString section;
    QGridLayout* grid = nullptr;
    int column = 0, row = 0;
    for (const GalleryItem& item : galleryItems()) {
        if (item.section != section) {
            section = item.section;
            auto* heading = new QLabel(QStringLiteral("<h3>%1</h3>").arg(section));
            layout->addWidget(heading);
            auto* holder = new QWidget;
            grid = new QGridLayout(holder);
            grid->setAlignment(Qt::AlignLeft | Qt::AlignTop);
            layout->addWidget(holder);
            column = 0;
            row = 0;
        }
        auto* cell = new QWidget;
        auto* cellLayout = new QVBoxLayout(cell);
        cellLayout->setContentsMargins(4, 4, 4, 4);
        QWidget* sample = item.make();
        sample->setFixedSize(sample->size());
        cellLayout->addWidget(sample);
        cellLayout->addWidget(new QLabel(item.name + QStringLiteral(" · ") + item.state));
        grid->addWidget(cell, row, column);
        if (++column == 4) {
            column = 0;
            ++row;
        }
    }
    layout->addStretch();
    scroll->setWidget(page);
    scroll->resize(1100, 800);
    return scroll;
}

}  // namespace

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    platform::installTranslations(&app);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Every control in every state, and every image."));
    parser.addHelpOption();
    QCommandLineOption pngOption(QStringLiteral("write-png"),
                                 QStringLiteral("Write one PNG per control and state into <dir>."),
                                 QStringLiteral("dir"));
    QCommandLineOption ratioOption(QStringLiteral("ratio"),
                                   QStringLiteral("Device pixel ratio of the PNGs (default 2)."),
                                   QStringLiteral("ratio"), QStringLiteral("2"));
    parser.addOption(pngOption);
    parser.addOption(ratioOption);
    parser.process(app);

    if (parser.isSet(pngOption)) {
        bool ok = false;
        const qreal ratio = parser.value(ratioOption).toDouble(&ok);
        if (!ok || ratio <= 0 || ratio > 4) {
            QTextStream(stderr) << "zq-gallery: --ratio takes a number between 0 and 4\n";
            return 2;
        }
        return writeAll(parser.value(pngOption), ratio);
    }
    QWidget* window = buildWindow();
    window->show();
    const int result = app.exec();
    delete window;
    return result;
}
