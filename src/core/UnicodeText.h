#pragma once

#include <QChar>

// Character classes shared by the rules that read text the same way in any script
// (Vietnamese with its marks included): the echo check's words and the archive's slugs.
class UnicodeText
{
public:
    // Letters, digits and numbers of any script, and the marks that combine with them.
    static bool isAlphanumeric(char32_t c)
    {
        switch (QChar::category(c)) {
        case QChar::Letter_Uppercase:
        case QChar::Letter_Lowercase:
        case QChar::Letter_Titlecase:
        case QChar::Letter_Modifier:
        case QChar::Letter_Other:
        case QChar::Mark_NonSpacing:
        case QChar::Mark_SpacingCombining:
        case QChar::Mark_Enclosing:
        case QChar::Number_DecimalDigit:
        case QChar::Number_Letter:
        case QChar::Number_Other:
            return true;
        default:
            return false;
        }
    }
};
