#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

class AccountService;

// The account card's form over the account service: what the user typed (the address and the
// code live as long as the card), which view is up, and the lines of the signed-in view.
// One invokable per user action; each checks its own rule, so a key press can't skip one.
class AccountForm : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString email READ email WRITE setEmail NOTIFY emailChanged)
    // Only number characters, at most 6 of them, whatever is typed or pasted.
    Q_PROPERTY(QString code READ code WRITE setCode NOTIFY codeChanged)
    Q_PROPERTY(View view READ view NOTIFY changed)
    Q_PROPERTY(bool sending READ sending NOTIFY changed)
    Q_PROPERTY(bool canSend READ canSend NOTIFY changed)
    Q_PROPERTY(bool canVerify READ canVerify NOTIFY codeChanged)
    Q_PROPERTY(QString sentToMessage READ sentToMessage NOTIFY changed)
    Q_PROPERTY(QString resendLabel READ resendLabel NOTIFY changed)
    Q_PROPERTY(bool canResend READ canResend NOTIFY changed)
    Q_PROPERTY(bool showSignOutConfirm READ showSignOutConfirm NOTIFY showSignOutConfirmChanged)
    // The signed-in view.
    Q_PROPERTY(QString accountTitle READ accountTitle NOTIFY changed)
    Q_PROPERTY(Usage usage READ usage NOTIFY changed)
    Q_PROPERTY(QString usageText READ usageText NOTIFY changed)
    Q_PROPERTY(QString usageAccessibleText READ usageAccessibleText NOTIFY changed)
    Q_PROPERTY(double usageFraction READ usageFraction NOTIFY changed)
    Q_PROPERTY(bool usageNearLimit READ usageNearLimit NOTIFY changed)

public:
    // Which of the four views the card shows, in the order they are tested.
    enum class View { SignedIn, CodeSent, Verifying, EmailEntry };
    Q_ENUM(View)
    // What stands under the signed-in title: a gateway balance line, unlimited minutes, or the
    // month's allowance as a bar.
    enum class Usage { NoUsage, GatewayCredit, Unlimited, Allowance };
    Q_ENUM(Usage)

    explicit AccountForm(QObject *parent = nullptr);
    explicit AccountForm(AccountService &account, QObject *parent = nullptr);

    // An at sign and a dot in more than 5 characters, after trimming; the server decides the rest.
    static bool isEmailPlausible(const QString &text);
    // The number characters of the text, at most the first 6.
    static QString codeDigits(const QString &text);
    static QString resendLabel(int cooldownSeconds);

    QString email() const { return m_email; }
    void setEmail(const QString &email);
    QString code() const { return m_code; }
    void setCode(const QString &text);

    View view() const;
    bool sending() const;
    bool canSend() const { return isEmailPlausible(m_email) && !sending(); }
    bool canVerify() const { return m_code.size() == 6; }
    QString sentToMessage() const;
    QString resendLabel() const;
    bool canResend() const;
    bool showSignOutConfirm() const { return m_showSignOutConfirm; }

    QString accountTitle() const;
    Usage usage() const;
    QString usageText() const;
    QString usageAccessibleText() const;
    double usageFraction() const;
    bool usageNearLimit() const { return usage() == Usage::Allowance && usageFraction() >= 0.9; }

    // "Continue with Google": the gateway sign-in in the browser.
    Q_INVOKABLE void continueInBrowser();
    // The browser was left without an answer.
    Q_INVOKABLE void stopWaitingForBrowser();
    // "Send link", and Return in the address field.
    Q_INVOKABLE void sendLink();
    // "Verify", and Return in the code field.
    Q_INVOKABLE void verify();
    Q_INVOKABLE void resend();
    Q_INVOKABLE void useDifferentEmail();
    Q_INVOKABLE void askToSignOut();
    Q_INVOKABLE void confirmSignOut();
    Q_INVOKABLE void cancelSignOut();
    // The signed-in view appeared.
    Q_INVOKABLE void refresh();

Q_SIGNALS:
    void emailChanged();
    void codeChanged();
    void changed();
    void showSignOutConfirmChanged();

private:
    void setShowSignOutConfirm(bool show);

    AccountService &m_account;
    QString m_email;
    QString m_code;
    bool m_showSignOutConfirm = false;
};
