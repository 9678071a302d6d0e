#include "AccountService.h"
#include "AppIdentity.h"
#include "InstanceLock.h"
#include "LaunchUrls.h"
#include "Log.h"
#include "OndelApp.h"
#include "OndelStore.h"
#include "SingleInstance.h"
#include "UrlOpening.h"
#include "UrlRouter.h"

#include <QApplication>
#include <QDesktopServices>
#include <QQuickStyle>
#include <QtQml/qqmlextensionplugin.h>

#include <cstdio>
#include <cstring>

Q_IMPORT_QML_PLUGIN(Ondel_AppPlugin)

int main(int argc, char *argv[])
{
    // Before any window, lock or data: packagers and scripts ask this without a display.
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--version") == 0) {
            std::printf("Ondel %s\n", ONDEL_VERSION);
            return 0;
        }
    }
    AppIdentity::setBundleIdentifier(AppIdentity::chooseBundleIdentifier(QStringLiteral(ONDEL_BUNDLE_ID)));
    // The test suite reads the lines of the ".test" app it runs on standard error.
    Log::install({.toSystemLog = true, .toStderr = AppIdentity::isDevelopmentBuild() || AppIdentity::isTestBuild()});

    // A widgets application: the tray icon and its menu are widgets.
    QApplication app(argc, argv);
    // The libraries open addresses through this; the command line, without a desktop, has none.
    UrlOpening::install([](const QUrl &url) { return QDesktopServices::openUrl(url); });
    QGuiApplication::setApplicationName(QStringLiteral("Ondel"));
    QGuiApplication::setApplicationVersion(QStringLiteral(ONDEL_VERSION));
    QGuiApplication::setDesktopFileName(AppIdentity::bundleIdentifier());

    qCInfo(lcOndel).noquote() << QStringLiteral("Ondel %1 starting (%2)").arg(QStringLiteral(ONDEL_VERSION), AppIdentity::bundleIdentifier());
    // Before anything touches the data: a later launch gives its links to the running app.
    InstanceLock lock;
    SingleInstance instance;
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    switch (instance.start(lock, arguments)) {
    case SingleInstance::Role::HandedOver:
        return 0;
    case SingleInstance::Role::Busy:
        std::fprintf(stderr, "%s\n", qPrintable(lock.busyMessage()));
        return 1;
    case SingleInstance::Role::First:
        break;
    }
    OndelStore::shared(); // opening is the one fatal failure; do it before any window
    QQuickStyle::setStyle(QStringLiteral("Fusion"));
    OndelApp ondel;
    if (!ondel.start())
        return 1;
    UrlRouter router([](const QUrl &url) { AccountService::shared().handleOpenURL(url); });
    // The browser sign-in's "ondel://callback" comes back to it through the router.
    AccountService::shared().oauth().setCallbackRoute(
        {[&router](VrelOAuth::CallbackReceiver receiver) { router.awaitCallback(std::move(receiver)); },
         [&router] { router.cancelCallback(); }});
    QObject::connect(&instance, &SingleInstance::urlReceived, &router, &UrlRouter::route);
    QObject::connect(&instance, &SingleInstance::activationRequested, &ondel, &OndelApp::showMainWindow);
    // Not running, the app is started by the desktop with the link to open.
    for (const QUrl &url : LaunchUrls::among(arguments))
        QMetaObject::invokeMethod(&router, [&router, url] { router.route(url); }, Qt::QueuedConnection);
    return app.exec();
}
