#include "Desktop/Windows/ActivationRight.hpp"

#include <QGuiApplication>

namespace dovra {

namespace {

const auto tokenName = QStringLiteral("activation-token");
constexpr const char* tokenVariable = "XDG_ACTIVATION_TOKEN";

}  // namespace

QVariantMap ActivationRight::ofThisStart() {
    const QString token = qEnvironmentVariable(tokenVariable);
    return token.isEmpty() ? QVariantMap() : QVariantMap{{tokenName, token}};
}

void ActivationRight::takeFrom(const QVariantMap& right) {
    take(right.value(tokenName).toString());
}

void ActivationRight::take(const QString& token) {
    // The toolkit looks there at each activation, and takes it away. Nobody else would: programs that are
    // started later must not find a token of long ago.
    if (!token.isEmpty() && QGuiApplication::platformName().startsWith(u"wayland"))
        qputenv(tokenVariable, token.toUtf8());
}

}  // namespace dovra
