#include "ChatModelMenu.h"

#include "AppShell.h"
#include "ChatModel.h"
#include "Settings.h"

ChatModelMenu::ChatModelMenu(QObject *parent)
    : ChatModelMenu(AppShell::current() ? *AppShell::current()->settings() : Settings::shared(), parent)
{
}

ChatModelMenu::ChatModelMenu(Settings &settings, QObject *parent)
    : QAbstractListModel(parent)
    , m_settings(&settings)
    , m_chosenId(ChatModel::named(settings.chatModel()).id)
{
    m_entries.append({QStringLiteral("fast"), QStringLiteral("Auto"), QStringLiteral("Recommended")});
    m_entries.append({{}, {}, {}, true});
    for (const ChatModel &model : ChatModel::choices())
        m_entries.append({model.id, model.name, model.character});
    connect(&settings, &Settings::chatModelChanged, this, &ChatModelMenu::onSettingChanged);
}

QString ChatModelMenu::chosenId() const
{
    return m_chosenId;
}

QString ChatModelMenu::chosenName() const
{
    return ChatModel::named(m_chosenId).name;
}

void ChatModelMenu::choose(const QString &modelId)
{
    if (m_settings && !modelId.isEmpty())
        m_settings->setChatModel(modelId);
}

void ChatModelMenu::onSettingChanged()
{
    const QString chosen = m_settings ? ChatModel::named(m_settings->chatModel()).id : QString();
    if (chosen == m_chosenId)
        return;
    m_chosenId = chosen;
    Q_EMIT dataChanged(index(0), index(int(m_entries.size()) - 1), {IsChosenRole});
    Q_EMIT chosenChanged();
}

int ChatModelMenu::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_entries.size());
}

QVariant ChatModelMenu::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Entry &e = m_entries.at(index.row());
    switch (role) {
    case ModelIdRole:
        return e.id;
    case Qt::DisplayRole:
    case NameRole:
        return e.name;
    case CharacterRole:
        return e.character;
    case IsDividerRole:
        return e.divider;
    case IsChosenRole:
        return !e.divider && e.id == m_chosenId;
    }
    return {};
}

QHash<int, QByteArray> ChatModelMenu::roleNames() const
{
    return {{ModelIdRole, "modelId"}, {NameRole, "name"}, {CharacterRole, "character"}, {IsDividerRole, "isDivider"},
            {IsChosenRole, "isChosen"}};
}
