#include "Desktop/Windows/ActivationRight.hpp"

namespace dovra {

namespace {

/// The toolkit looks for the right in the environment, at each activation.
struct ActivationKey {
    const char* name;
    const char* variable;
};

constexpr ActivationKey activationKeys[] = {{"activation-token", "XDG_ACTIVATION_TOKEN"},
                                            {"desktop-startup-id", "DESKTOP_STARTUP_ID"}};

}  // namespace

QVariantMap ActivationRight::ofThisStart() {
    QVariantMap right;
    for (const auto& [name, variable] : activationKeys)
        if (qEnvironmentVariableIsSet(variable))
            right.insert(QString::fromLatin1(name), qEnvironmentVariable(variable));
    return right;
}

void ActivationRight::take(const QVariantMap& right) {
    for (const auto& [name, variable] : activationKeys)
        if (const QString value = right.value(QString::fromLatin1(name)).toString(); !value.isEmpty())
            qputenv(variable, value.toUtf8());
}

}  // namespace dovra
