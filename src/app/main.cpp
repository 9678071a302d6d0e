#include "AppIdentity.h"
#include "AppServices.h"
#include "InstanceLock.h"
#include "Log.h"
#include "OndelStore.h"
#include "RecordingController.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QtQml/qqmlextensionplugin.h>

#include <cstdio>

Q_IMPORT_QML_PLUGIN(Ondel_AppPlugin)

int main(int argc, char *argv[])
{
    AppIdentity::setBundleIdentifier(AppIdentity::chooseBundleIdentifier(QStringLiteral(ONDEL_BUNDLE_ID)));
    Log::install({.toSystemLog = true, .toStderr = AppIdentity::isDevelopmentBuild()});

    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("Ondel"));
    QGuiApplication::setApplicationVersion(QStringLiteral(ONDEL_VERSION));
    QGuiApplication::setDesktopFileName(AppIdentity::bundleIdentifier());

    qCInfo(lcOndel).noquote() << QStringLiteral("Ondel %1 starting (%2)").arg(QStringLiteral(ONDEL_VERSION), AppIdentity::bundleIdentifier());
    InstanceLock lock;
    if (!lock.tryLock()) {
        std::fprintf(stderr, "%s\n", qPrintable(lock.busyMessage()));
        return 1;
    }
    OndelStore::shared(); // opening is the one fatal failure; do it before any window
    AppServices services;
    RecordingController recording(services);
    RecordingController::setInstance(&recording);

    QQmlApplicationEngine engine;
    engine.addImportPath(QStringLiteral(":/qt/qml"));
    QObject::connect(&engine, &QQmlApplicationEngine::objectCreationFailed, &app, [] { QCoreApplication::exit(1); },
                     Qt::QueuedConnection);
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Ondel/App/Main.qml")));
    if (engine.rootObjects().isEmpty())
        return 1;
    // Once the window is there: the repairs of what a previous run left, and the recovery of
    // an empty store from the archive.
    QMetaObject::invokeMethod(&services, [&services] { services.startUp(); }, Qt::QueuedConnection);
    return app.exec();
}
