#include "AccountForm.h"

#include "AccountService.h"
#include "AppShell.h"


#include <cmath>

AccountForm::AccountForm(QObject *parent)
    : AccountForm(*AppShell::current()->account(), parent)
{
}

AccountForm::AccountForm(AccountService &account, QObject *parent)
    : QObject(parent)
    , m_account(account)
{
    for (auto signal : {&AccountService::flowChanged, &AccountService::resendCooldownChanged,
                        &AccountService::signedInChanged, &AccountService::displayEmailChanged,
                        &AccountService::vrelBalanceChanged, &AccountService::accountChanged})
        connect(&account, signal, this, &AccountForm::changed);
}

bool AccountForm::isEmailPlausible(const QString &text)
{
    const QString trimmed = text.trimmed();
    return trimmed.contains(QLatin1Char('@')) && trimmed.contains(QLatin1Char('.')) && trimmed.size() > 5;
}

QString AccountForm::codeDigits(const QString &text)
{
    QList<char32_t> digits;
    for (const char32_t c : text.toUcs4()) {
        if (digits.size() == 6)
            break;
        if (QChar::isNumber(c))
            digits.append(c);
    }
    return QString::fromUcs4(digits.constData(), digits.size());
}

QString AccountForm::resendLabel(int cooldownSeconds)
{
    return cooldownSeconds > 0 ? QStringLiteral("Resend (%1s)").arg(cooldownSeconds) : QStringLiteral("Resend");
}

void AccountForm::setEmail(const QString &email)
{
    if (email == m_email)
        return;
    const bool couldSend = canSend();
    m_email = email;
    Q_EMIT emailChanged();
    if (canSend() != couldSend)
        Q_EMIT changed();
}

void AccountForm::setCode(const QString &text)
{
    const QString digits = codeDigits(text);
    const bool differs = digits != m_code;
    m_code = digits;
    // Also when the kept digits stay the same: the field then drops what was filtered out.
    if (differs || text != digits)
        Q_EMIT codeChanged();
}

AccountForm::View AccountForm::view() const
{
    if (m_account.isSignedIn())
        return View::SignedIn;
    switch (m_account.flow()) {
    case AccountService::Flow::CodeSent:
        return View::CodeSent;
    case AccountService::Flow::Verifying:
        return View::Verifying;
    case AccountService::Flow::Idle:
    case AccountService::Flow::Sending:
        break;
    }
    return View::EmailEntry;
}

bool AccountForm::sending() const
{
    return m_account.flow() == AccountService::Flow::Sending;
}

QString AccountForm::sentToMessage() const
{
    return QStringLiteral("We sent a sign-in link to <b>%1</b>. Click it on this computer — or type the 6-digit code here.")
        .arg(m_account.flowEmail().toHtmlEscaped());
}

QString AccountForm::resendLabel() const
{
    return resendLabel(m_account.resendCooldown());
}

bool AccountForm::canResend() const
{
    return m_account.resendCooldown() <= 0 && m_account.flow() == AccountService::Flow::CodeSent;
}

QString AccountForm::accountTitle() const
{
    const QString email = m_account.displayEmail();
    return email.isEmpty() ? QStringLiteral("Signed in") : email;
}

AccountForm::Usage AccountForm::usage() const
{
    if (m_account.hasVrelKey())
        return Usage::GatewayCredit;
    if (m_account.hasUnlimitedMinutes())
        return Usage::Unlimited;
    if (m_account.hasAccount())
        return Usage::Allowance;
    return Usage::NoUsage;
}

QString AccountForm::usageText() const
{
    switch (usage()) {
    case Usage::GatewayCredit:
        return m_account.hasVrelBalance()
            ? QStringLiteral("Vrel balance: $%1 — pay-as-you-go").arg(m_account.vrelBalanceValue(), 0, 'f', 2)
            : QStringLiteral("Using your Vrel account credit");
    case Usage::Unlimited:
        return QStringLiteral("Unlimited minutes");
    case Usage::Allowance:
        return QStringLiteral("%1 of %2 minutes used this month")
            .arg(qint64(m_account.minutesUsed()))
            .arg(qint64(m_account.quotaMinutes()));
    case Usage::NoUsage:
        break;
    }
    return {};
}

QString AccountForm::usageAccessibleText() const
{
    if (usage() != Usage::Allowance)
        return usageText();
    return QStringLiteral("%1 of %2 minutes used").arg(qint64(m_account.minutesUsed())).arg(qint64(m_account.quotaMinutes()));
}

double AccountForm::usageFraction() const
{
    // An allowance of 0 sets no limit: the bar stays empty rather than dividing by it.
    const double quota = m_account.quotaMinutes();
    if (usage() != Usage::Allowance || quota <= 0)
        return 0.0;
    const double fraction = m_account.minutesUsed() / quota;
    return std::isfinite(fraction) ? qBound(0.0, fraction, 1.0) : 0.0;
}

void AccountForm::continueInBrowser()
{
    if (!m_account.vrelSigningIn())
        m_account.signInWithVrel();
}

void AccountForm::stopWaitingForBrowser()
{
    m_account.cancelVrelSignIn();
}

void AccountForm::sendLink()
{
    if (canSend())
        m_account.sendSignInEmail(m_email);
}

void AccountForm::verify()
{
    if (canVerify())
        m_account.verifyCode(m_code);
}

void AccountForm::resend()
{
    if (canResend())
        m_account.resendSignInEmail();
}

void AccountForm::useDifferentEmail()
{
    m_account.useDifferentEmail();
    setCode(QString());
}

void AccountForm::askToSignOut()
{
    setShowSignOutConfirm(true);
}

void AccountForm::confirmSignOut()
{
    setShowSignOutConfirm(false);
    m_account.signOut();
}

void AccountForm::cancelSignOut()
{
    setShowSignOutConfirm(false);
}

void AccountForm::refresh()
{
    m_account.refresh();
}

void AccountForm::setShowSignOutConfirm(bool show)
{
    if (show == m_showSignOutConfirm)
        return;
    m_showSignOutConfirm = show;
    Q_EMIT showSignOutConfirmChanged();
}
