#include <QApplication>
#include <gtest/gtest.h>
#include <memory>

#include "Desktop/Windows/WindowTheme.hpp"

namespace dovra {
namespace {

/// The toolkit, for all tests of the program, without a display.
class Toolkit : public testing::Environment {
public:
    void SetUp() override {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        application_ = std::make_unique<QApplication>(count_, values_);
        QApplication::setStyle(QStringLiteral("fusion"));
        QApplication::setPalette(themePalette(Appearance::light));
    }
    void TearDown() override { application_.reset(); }

private:
    int count_ = 1;
    char name_[6] = "dovra";
    char* values_[2] = {name_, nullptr};
    std::unique_ptr<QApplication> application_;
};

const auto* const toolkit = testing::AddGlobalTestEnvironment(new Toolkit);

}  // namespace
}  // namespace dovra
