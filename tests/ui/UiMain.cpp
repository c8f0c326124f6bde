#include <gtest/gtest.h>

#include <QApplication>

// The windows are real, on a platform that draws into memory.
int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
