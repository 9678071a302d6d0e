#include "EdsSession.h"

#include "EdsCalendarStore.h"
#include "EdsEventMapping.h"

#include <QLoggingCategory>

namespace ondel {

Q_LOGGING_CATEGORY(lcEds, "ondel.calendar")

struct EdsSession::Gather {
    QString calendarId;
    QSet<QString> ownAddresses;
    ICalTimezone *localZone = nullptr;
    QList<CalendarStoreEvent> *out = nullptr;
    // Of the series being expanded: the occurrences moved elsewhere (by their original start),
    // and how many were handed on.
    QSet<qint64> moved;
    int count = 0;
};

namespace {

QString text(const gchar *value)
{
    return QString::fromUtf8(value ? value : "");
}

QString errorText(const GError *error)
{
    return error ? QString::fromUtf8(error->message) : QString();
}

// The registry's stubs under which Evolution and GNOME Calendar group web and local calendars.
constexpr const char *kWebParent = "webcal-stub";
constexpr const char *kLocalParent = "local-stub";


gboolean onInstance(ICalComponent *component, ICalTime *start, ICalTime *end, gpointer data, GCancellable *, GError **)
{
    auto *gather = static_cast<EdsSession::Gather *>(data);
    if (!gather->moved.isEmpty()
        && gather->moved.contains(EdsEventMapping::utc(start, gather->localZone).toSecsSinceEpoch()))
        return TRUE;
    gather->out->append(EdsEventMapping::event(component, start, end, gather->localZone, gather->calendarId,
                                               gather->ownAddresses));
    return ++gather->count < EdsSession::maxOccurrencesPerSeries;
}

ICalTimezone *resolveZone(const gchar *tzid, gpointer client, GCancellable *cancellable, GError **error)
{
    return e_cal_client_tzlookup_cb(tzid, client, cancellable, error);
}

// A RECURRENCE-ID as UTC seconds, its zone resolved through the calendar.
qint64 recurrenceId(ICalComponent *component, ECalClient *client, ICalTimezone *localZone)
{
    icalcomponent *native = static_cast<icalcomponent *>(i_cal_object_get_native(I_CAL_OBJECT(component)));
    icalproperty *property = icalcomponent_get_first_property(native, ICAL_RECURRENCEID_PROPERTY);
    const icaltimetype time = icalproperty_get_recurrenceid(property);
    ICalTimezone *zone = localZone;
    if (icaltime_is_utc(time))
        zone = i_cal_timezone_get_utc_timezone();
    else if (icalparameter *tzid = icalproperty_get_first_parameter(property, ICAL_TZID_PARAMETER))
        if (ICalTimezone *found = e_cal_client_tzlookup_cb(icalparameter_get_tzid(tzid), client, nullptr, nullptr))
            zone = found;
    return qint64(icaltime_as_timet_with_zone(
        time, zone ? static_cast<icaltimezone *>(i_cal_object_get_native(I_CAL_OBJECT(zone))) : nullptr));
}

}  // namespace

EdsSession::EdsSession(GCancellable *cancellable, std::function<void()> onChanged)
    : m_cancellable(cancellable)
    , m_onChanged(std::move(onChanged))
{
}

EdsSession::~EdsSession()
{
    const QStringList uids = m_watched.keys();
    for (const QString &uid : uids)
        forget(uid);
    if (m_registry) {
        g_signal_handlers_disconnect_by_data(m_registry, this);
        g_object_unref(m_registry);
    }
}

bool EdsSession::connectRegistry()
{
    if (m_registry)
        return true;
    GError *error = nullptr;
    m_registry = e_source_registry_new_sync(m_cancellable, &error);
    if (!m_registry) {
        qCInfo(lcEds, "Calendar service unavailable: %s", error ? error->message : "no answer");
        g_clear_error(&error);
        return false;
    }
    for (const char *signal : {"source-added", "source-removed", "source-changed", "source-enabled", "source-disabled"})
        g_signal_connect(m_registry, signal, G_CALLBACK(onSourceEvent), this);
    return true;
}

EdsSession::Calendars EdsSession::readCalendars()
{
    Calendars answer;
    if (!connectRegistry())
        return answer;
    answer.availability = CalendarStore::Availability::available;
    GList *sources = e_source_registry_list_enabled(m_registry, E_SOURCE_EXTENSION_CALENDAR);
    for (GList *item = sources; item; item = item->next) {
        ESource *source = E_SOURCE(item->data);
        CalendarStoreCalendar calendar;
        calendar.id = text(e_source_get_uid(source));
        calendar.title = text(e_source_get_display_name(source));
        if (const gchar *parentUid = e_source_get_parent(source); parentUid && *parentUid) {
            if (ESource *parent = e_source_registry_ref_source(m_registry, parentUid)) {
                calendar.sourceTitle = text(e_source_get_display_name(parent));
                g_object_unref(parent);
            }
        }
        auto *extension = static_cast<ESourceCalendar *>(e_source_get_extension(source, E_SOURCE_EXTENSION_CALENDAR));
        const QColor color(text(e_source_selectable_get_color(E_SOURCE_SELECTABLE(extension))));
        if (color.isValid())
            calendar.color = color;
        const QString backend = text(e_source_backend_get_backend_name(E_SOURCE_BACKEND(extension)));
        if (backend == QLatin1String("webcal"))
            calendar.type = CalendarStoreCalendar::Type::subscription;
        else if (backend == QLatin1String("contacts"))
            calendar.type = CalendarStoreCalendar::Type::birthday;
        calendar.addedByOndel = calendar.id.startsWith(QLatin1String(EdsCalendarStore::ondelUidPrefix));
        answer.list.append(std::move(calendar));
    }
    g_list_free_full(sources, g_object_unref);
    return answer;
}

ECalClient *EdsSession::clientFor(ESource *source)
{
    const QString uid = text(e_source_get_uid(source));
    if (auto found = m_watched.constFind(uid); found != m_watched.constEnd())
        return found->client;
    GError *error = nullptr;
    // Not waiting for a remote calendar to connect: its cache answers now, and the view tells
    // when fresh data lands.
    EClient *client = e_cal_client_connect_sync(source, E_CAL_CLIENT_SOURCE_TYPE_EVENTS, guint32(-1), m_cancellable,
                                                &error);
    if (!client) {
        qCInfo(lcEds, "Calendar %s could not be opened: %s", qUtf8Printable(uid), error ? error->message : "");
        g_clear_error(&error);
        return nullptr;
    }
    Watched watched;
    watched.client = E_CAL_CLIENT(client);
    if (ICalTimezone *local = e_cal_util_get_system_timezone())
        e_cal_client_set_default_timezone(watched.client, local);
    g_signal_connect(client, "backend-died", G_CALLBACK(onBackendDied), this);

    if (e_cal_client_get_view_sync(watched.client, "#t", &watched.view, m_cancellable, &error)) {
        // Only that something changed matters, so the view sends no objects up front and only
        // the UID of each change.
        e_cal_client_view_set_flags(watched.view, E_CAL_CLIENT_VIEW_FLAGS_NONE, nullptr);
        GSList fields = {const_cast<gchar *>("UID"), nullptr};
        e_cal_client_view_set_fields_of_interest(watched.view, &fields, nullptr);
        for (const char *signal : {"objects-added", "objects-modified", "objects-removed"})
            g_signal_connect(watched.view, signal, G_CALLBACK(onObjectsChanged), this);
        e_cal_client_view_start(watched.view, &error);
    }
    if (error) {
        qCInfo(lcEds, "No live view of calendar %s: %s", qUtf8Printable(uid), error->message);
        g_clear_error(&error);
    }
    m_watched.insert(uid, watched);
    return watched.client;
}

void EdsSession::forget(const QString &uid)
{
    const Watched watched = m_watched.take(uid);
    if (watched.view) {
        g_signal_handlers_disconnect_by_data(watched.view, this);
        e_cal_client_view_stop(watched.view, nullptr);
        g_object_unref(watched.view);
    }
    if (watched.client) {
        g_signal_handlers_disconnect_by_data(watched.client, this);
        g_object_unref(watched.client);
    }
}

QSet<QString> EdsSession::identityAddresses() const
{
    QSet<QString> addresses;
    GList *identities = e_source_registry_list_enabled(m_registry, E_SOURCE_EXTENSION_MAIL_IDENTITY);
    for (GList *item = identities; item; item = item->next) {
        auto *identity = static_cast<ESourceMailIdentity *>(
            e_source_get_extension(E_SOURCE(item->data), E_SOURCE_EXTENSION_MAIL_IDENTITY));
        if (const gchar *address = e_source_mail_identity_get_address(identity); address && *address)
            addresses.insert(EdsEventMapping::normalizedAddress(text(address)));
        if (GHashTable *aliases = e_source_mail_identity_get_aliases_as_hash_table(identity)) {
            GHashTableIter iter;
            gpointer key = nullptr;
            g_hash_table_iter_init(&iter, aliases);
            while (g_hash_table_iter_next(&iter, &key, nullptr))
                addresses.insert(EdsEventMapping::normalizedAddress(text(static_cast<const gchar *>(key))));
            g_hash_table_unref(aliases);
        }
    }
    g_list_free_full(identities, g_object_unref);
    return addresses;
}

QList<CalendarStoreEvent> EdsSession::readEvents(qint64 start, qint64 end, const QStringList &calendarIds,
                                                 const QStringList &ownAddresses)
{
    QList<CalendarStoreEvent> events;
    if (!connectRegistry())
        return events;
    QSet<QString> own = identityAddresses();
    for (const QString &address : ownAddresses)
        own.insert(EdsEventMapping::normalizedAddress(address));

    for (const QString &id : calendarIds) {
        ESource *source = e_source_registry_ref_source(m_registry, id.toUtf8().constData());
        if (!source)
            continue;
        ECalClient *client = e_source_registry_check_enabled(m_registry, source) ? clientFor(source) : nullptr;
        if (client) {
            Gather gather;
            gather.calendarId = id;
            gather.ownAddresses = own;
            // The calendar's own address: what its backend reports (CalDAV, Exchange, Google),
            // and the address set on the source itself.
            gchar *address = nullptr;
            if (e_client_get_backend_property_sync(E_CLIENT(client), E_CAL_BACKEND_PROPERTY_CAL_EMAIL_ADDRESS,
                                                   &address, m_cancellable, nullptr)
                && address && *address)
                gather.ownAddresses.insert(EdsEventMapping::normalizedAddress(text(address)));
            g_free(address);
            if (e_source_has_extension(source, E_SOURCE_EXTENSION_WEBDAV_BACKEND)) {
                auto *webdav = static_cast<ESourceWebdav *>(e_source_get_extension(source, E_SOURCE_EXTENSION_WEBDAV_BACKEND));
                if (const gchar *own = e_source_webdav_get_email_address(webdav); own && *own)
                    gather.ownAddresses.insert(EdsEventMapping::normalizedAddress(text(own)));
            }
            gather.localZone = e_cal_client_get_default_timezone(client);
            gather.out = &events;
            expand(client, start, end, gather);
        }
        g_object_unref(source);
    }
    return events;
}

// The window's occurrences, each series expanded here rather than by
// e_cal_client_generate_instances_sync, which copies every occurrence's component and cannot
// stop one series alone. Occurrences moved by a RECURRENCE-ID override are left out of their
// series (wherever the override moved them) and come with the override.
void EdsSession::expand(ECalClient *client, qint64 start, qint64 end, Gather &gather)
{
    gchar *startText = isodate_from_time_t(time_t(start));
    gchar *endText = isodate_from_time_t(time_t(end));
    const QByteArray query = QStringLiteral("(occur-in-time-range? (make-time \"%1\") (make-time \"%2\"))")
                                 .arg(text(startText), text(endText))
                                 .toUtf8();
    g_free(startText);
    g_free(endText);
    GSList *components = nullptr;
    GError *error = nullptr;
    if (!e_cal_client_get_object_list_sync(client, query.constData(), &components, m_cancellable, &error)) {
        qCInfo(lcEds, "Calendar %s could not be read: %s", qUtf8Printable(gather.calendarId), error ? error->message : "");
        g_clear_error(&error);
        return;
    }
    QList<ICalComponent *> series;
    QMultiHash<QString, ICalComponent *> overrides;
    for (GSList *item = components; item; item = item->next) {
        auto *component = static_cast<ICalComponent *>(item->data);
        const QString uid = text(i_cal_component_get_uid(component));
        if (e_cal_util_component_has_recurrences(component) || !e_cal_util_component_is_instance(component))
            series.append(component);
        else
            overrides.insert(uid, component);
    }
    ICalTime *from = i_cal_time_new_from_timet_with_zone(time_t(start), FALSE, i_cal_timezone_get_utc_timezone());
    ICalTime *to = i_cal_time_new_from_timet_with_zone(time_t(end), FALSE, i_cal_timezone_get_utc_timezone());
    const auto generate = [&](ICalComponent *component) {
        gather.count = 0;
        e_cal_recur_generate_instances_sync(component, from, to, onInstance, &gather, resolveZone, client,
                                            gather.localZone, m_cancellable, nullptr);
    };
    for (ICalComponent *component : std::as_const(series)) {
        gather.moved.clear();
        const QString uid = text(i_cal_component_get_uid(component));
        // An override moved out of the window is not in the query's answer, yet its slot is empty.
        if (e_cal_util_component_has_recurrences(component)) {
            GSList *all = nullptr;
            if (e_cal_client_get_objects_for_uid_sync(client, uid.toUtf8().constData(), &all, m_cancellable, nullptr)) {
                for (GSList *item = all; item; item = item->next) {
                    ICalComponent *instance = e_cal_component_get_icalcomponent(E_CAL_COMPONENT(item->data));
                    if (e_cal_util_component_is_instance(instance))
                        gather.moved.insert(recurrenceId(instance, client, gather.localZone));
                }
                g_slist_free_full(all, g_object_unref);
            }
        }
        const auto moved = overrides.equal_range(uid);
        for (auto o = moved.first; o != moved.second; ++o)
            gather.moved.insert(recurrenceId(*o, client, gather.localZone));
        generate(component);
    }
    gather.moved.clear();
    for (ICalComponent *component : std::as_const(overrides))
        generate(component);
    g_object_unref(from);
    g_object_unref(to);
    g_slist_free_full(components, g_object_unref);
}

QString EdsSession::duplicateOf(const IcsFeed::Target &target) const
{
    QString name;
    GList *sources = e_source_registry_list_sources(m_registry, E_SOURCE_EXTENSION_CALENDAR);
    for (GList *item = sources; item && name.isEmpty(); item = item->next) {
        ESource *source = E_SOURCE(item->data);
        if (target.kind == IcsFeed::Target::Kind::link && e_source_has_extension(source, E_SOURCE_EXTENSION_WEBDAV_BACKEND)) {
            auto *webdav = static_cast<ESourceWebdav *>(e_source_get_extension(source, E_SOURCE_EXTENSION_WEBDAV_BACKEND));
            if (GUri *uri = e_source_webdav_dup_uri(webdav)) {
                gchar *link = g_uri_to_string(uri);
                if (QUrl(text(link)) == target.link)
                    name = text(e_source_get_display_name(source));
                g_free(link);
                g_uri_unref(uri);
            }
        } else if (target.kind == IcsFeed::Target::Kind::file && e_source_has_extension(source, E_SOURCE_EXTENSION_LOCAL_BACKEND)) {
            auto *local = static_cast<ESourceLocal *>(e_source_get_extension(source, E_SOURCE_EXTENSION_LOCAL_BACKEND));
            if (GFile *file = e_source_local_dup_custom_file(local)) {
                gchar *path = g_file_get_path(file);
                if (text(path) == target.path)
                    name = text(e_source_get_display_name(source));
                g_free(path);
                g_object_unref(file);
            }
        }
    }
    g_list_free_full(sources, g_object_unref);
    return name;
}

QString EdsSession::addSource(const QString &uid, const QString &name, const IcsFeed::Target &target)
{
    if (!connectRegistry())
        return QStringLiteral("No calendar service answers on this computer.");
    if (const QString existing = duplicateOf(target); !existing.isEmpty())
        return QStringLiteral("This calendar is already added, as \"%1\".").arg(existing);

    GError *error = nullptr;
    ESource *source = e_source_new_with_uid(uid.toUtf8().constData(), nullptr, &error);
    if (!source) {
        const QString message = errorText(error);
        g_clear_error(&error);
        return QStringLiteral("The calendar could not be added: %1").arg(message);
    }
    const bool link = target.kind == IcsFeed::Target::Kind::link;
    e_source_set_display_name(source, name.toUtf8().constData());
    e_source_set_parent(source, link ? kWebParent : kLocalParent);
    auto *calendar = static_cast<ESourceCalendar *>(e_source_get_extension(source, E_SOURCE_EXTENSION_CALENDAR));
    e_source_backend_set_backend_name(E_SOURCE_BACKEND(calendar), link ? "webcal" : "local");
    if (link) {
        auto *webdav = static_cast<ESourceWebdav *>(e_source_get_extension(source, E_SOURCE_EXTENSION_WEBDAV_BACKEND));
        GUri *uri = g_uri_parse(target.link.toString(QUrl::FullyEncoded).toUtf8().constData(), G_URI_FLAGS_ENCODED, nullptr);
        if (uri) {
            e_source_webdav_set_uri(webdav, uri);
            g_uri_unref(uri);
        }
    } else {
        auto *local = static_cast<ESourceLocal *>(e_source_get_extension(source, E_SOURCE_EXTENSION_LOCAL_BACKEND));
        GFile *file = g_file_new_for_path(target.path.toUtf8().constData());
        e_source_local_set_custom_file(local, file);
        g_object_unref(file);
    }
    const bool committed = e_source_registry_commit_source_sync(m_registry, source, m_cancellable, &error);
    g_object_unref(source);
    if (!committed) {
        const QString message = errorText(error);
        g_clear_error(&error);
        return QStringLiteral("The calendar could not be added: %1").arg(message);
    }
    qCInfo(lcEds, "Added calendar %s (%s)", qUtf8Printable(uid), link ? "link" : "file");
    return {};
}

QString EdsSession::removeSource(const QString &uid)
{
    if (!connectRegistry())
        return QStringLiteral("No calendar service answers on this computer.");
    ESource *source = e_source_registry_ref_source(m_registry, uid.toUtf8().constData());
    if (!source)
        return QStringLiteral("There is no such calendar.");
    forget(uid);
    GError *error = nullptr;
    const bool removed = e_source_remove_sync(source, m_cancellable, &error);
    g_object_unref(source);
    if (!removed) {
        const QString message = errorText(error);
        g_clear_error(&error);
        return QStringLiteral("The calendar could not be removed: %1").arg(message);
    }
    qCInfo(lcEds, "Removed calendar %s", qUtf8Printable(uid));
    return {};
}

void EdsSession::onSourceEvent(ESourceRegistry *, ESource *source, gpointer self)
{
    auto *session = static_cast<EdsSession *>(self);
    const bool calendar = e_source_has_extension(source, E_SOURCE_EXTENSION_CALENDAR);
    if (calendar && !e_source_registry_check_enabled(session->m_registry, source))
        session->forget(text(e_source_get_uid(source)));
    // Calendars, the user's addresses, and the accounts whose names the calendars show.
    if (calendar || e_source_has_extension(source, E_SOURCE_EXTENSION_MAIL_IDENTITY)
        || e_source_has_extension(source, E_SOURCE_EXTENSION_COLLECTION))
        session->m_onChanged();
}

void EdsSession::onObjectsChanged(ECalClientView *, gpointer, gpointer self)
{
    static_cast<EdsSession *>(self)->m_onChanged();
}

void EdsSession::onBackendDied(EClient *client, gpointer self)
{
    auto *session = static_cast<EdsSession *>(self);
    session->forget(text(e_source_get_uid(e_client_get_source(client))));
    session->m_onChanged();
}

}  // namespace ondel
