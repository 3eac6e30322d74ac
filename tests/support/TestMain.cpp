// Shared test main: Qt's GUI types (QImage, QPainter, fonts) need a
// QGuiApplication; the offscreen platform needs no display.
#include <gtest/gtest.h>
#include <QGuiApplication>

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
