#include "AppIdentity.h"
#include "AccountService.h"
#include "AppServices.h"
#include "Cli.h"
#include "InstanceLock.h"
#include "Log.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

int main(int argc, char *argv[])
{
    AppIdentity::setBundleIdentifier(AppIdentity::chooseBundleIdentifier(QStringLiteral(ONDEL_BUNDLE_ID)));
    // The command line's output is its standard output; diagnostics go to the system log only.
    Log::install({.toSystemLog = true, .toStderr = false});

    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("ondel-cli"));
    QCoreApplication::setApplicationVersion(QStringLiteral(ONDEL_VERSION));

    QTextStream out(stdout);
    QTextStream err(stderr);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.isEmpty() || arguments.first() == QLatin1String("help") || arguments.first() == QLatin1String("--help")) {
        (arguments.isEmpty() ? err : out) << Cli::usage();
        return arguments.isEmpty() ? Cli::Usage : Cli::Success;
    }

    InstanceLock lock;
    if (!lock.tryLock()) {
        err << lock.busyMessage() << Qt::endl;
        return Cli::Failure;
    }

    // No window to keep alive here: the account's first use waits for the keychain.
    AccountService::setWaitsForSecrets(true);
    AppServices services(AppServices::Sounds::Silent);
    Cli cli(services, out, err);
    const int code = cli.run(arguments);
    if (code != Cli::Pending)
        return code;
    QObject::connect(&cli, &Cli::finished, &app, [](int exitCode) { QCoreApplication::exit(exitCode); });
    return app.exec();
}
