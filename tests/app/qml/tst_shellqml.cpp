// The screens under Qt Quick Test, offscreen, over a real store and the real window.
#include "AccountService.h"
#include "AppServices.h"
#include "AppShell.h"
#include "Appearance.h"
#include "FakeClock.h"
#include "FakeDesktop.h"
#include "IconProvider.h"
#include "MeetingArchiver.h"
#include "PulseServer.h"
#include "RecordingController.h"
#include "SecretServiceFixture.h"
#include "SessionDoubles.h"
#include "Settings.h"
#include "TestData.h"
#include "TestEnvironment.h"
#include "pulse/MicRecorder.h"

#include <QQmlEngine>
#include <QTest>
#include <QQuickStyle>
#include <QtQml/qqmlextensionplugin.h>
#include <QtQuickTest>

Q_IMPORT_QML_PLUGIN(Ondel_AppPlugin)

class Setup : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable()
    {
        QQuickStyle::setStyle(QStringLiteral("Fusion"));
        m_env = std::make_unique<TestEnvironment>();
        // A sound server with a microphone, and a keyring for the account's secrets, of the
        // test's own.
        const QString pulse = m_pulse.start();
        if (!pulse.isEmpty())
            qWarning("No sound server, the microphone reads as missing: %s", qPrintable(pulse));
        m_keyring = std::make_unique<SecretServiceFixture>();
        if (!m_keyring->error().isEmpty())
            qWarning("No keyring for the account, its secrets stay in memory: %s", qPrintable(m_keyring->error()));
        m_clock = std::make_unique<FakeClock>(QDateTime(QDate(2026, 11, 20), QTime(15, 40), Qt::LocalTime));
        // The real account, with its countdowns on the fake clock.
        m_account = std::make_unique<AccountService>(Settings::shared(), AccountService::Dependencies{nullptr, m_clock.get(), {}});
        if (!QTest::qWaitFor([this] { return m_account->isLoaded(); }, 30000))
            qWarning("The keyring did not answer; the account starts unread");
        AppServices::Replacements replacements;
        replacements.clock = m_clock.get();
        replacements.credentials = &m_credentials;
        replacements.account = m_account.get();
        replacements.publisher = &m_publisher;
        m_services = std::make_unique<AppServices>(AppServices::Sounds::Silent, replacements);
        m_appearance = std::make_unique<Appearance>(m_services->settings(), &m_desktop);
        m_shell = std::make_unique<AppShell>(*m_services, *m_appearance);
        m_recording = std::make_unique<RecordingController>(*m_services);
        RecordingController::setInstance(m_recording.get());
        m_data = std::make_unique<TestData>(m_services->store(), m_services->settings(), *m_clock, m_credentials,
                                            m_services->archiver(), m_publisher);
        m_data->useAccount(*m_account);
        m_data->stopsKeyring = [this] { m_keyring->stopKeyring(); };
        m_data->useSound(m_pulse, m_services->micRecorder());
        m_data->useSpool(m_services->spool());
    }

    void qmlEngineAvailable(QQmlEngine *engine)
    {
        engine->addImportPath(QStringLiteral(":/qt/qml"));
        engine->addImageProvider(QStringLiteral("icon"), new IconProvider);
        qmlRegisterSingletonInstance("Ondel.Test", 1, 0, "TestData", m_data.get());
    }

    void cleanupTestCase()
    {
        RecordingController::setInstance(nullptr);
        m_data.reset();
        m_recording.reset();
        m_shell.reset();
        m_appearance.reset();
        m_services.reset();
        m_account.reset();
        m_clock.reset();
        m_keyring.reset();
        m_pulse.stop();
        m_env.reset();
    }

private:
    std::unique_ptr<TestEnvironment> m_env;
    PulseServer m_pulse;
    std::unique_ptr<SecretServiceFixture> m_keyring;
    std::unique_ptr<FakeClock> m_clock;
    std::unique_ptr<AccountService> m_account;
    FakeCredentials m_credentials;
    StubPublisher m_publisher;
    std::unique_ptr<AppServices> m_services;
    FakeDesktop m_desktop;
    std::unique_ptr<Appearance> m_appearance;
    std::unique_ptr<AppShell> m_shell;
    std::unique_ptr<RecordingController> m_recording;
    std::unique_ptr<TestData> m_data;
};

QUICK_TEST_MAIN_WITH_SETUP(shell, Setup)

#include "tst_shellqml.moc"
