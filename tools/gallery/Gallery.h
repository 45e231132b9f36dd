#pragma once

#include <QList>
#include <QSize>
#include <QString>
#include <QWidget>

#include <functional>

// One control in one state: a factory that builds it in a sample frame, and
// the state it is put in.
struct GalleryItem {
    QString section;  // "buttons", "switches", ...
    QString name;     // "button-colour"
    QString state;    // "normal", "hover", ...
    // Builds the sample (a frame holding the control in its state).
    std::function<QWidget*()> make;
};

// Every control of the application in every state, and every image.
QList<GalleryItem> galleryItems();

// Renders a sample at `ratio` into a PNG file; false on failure.
bool writeSamplePng(QWidget* sample, const QString& path, qreal ratio);
