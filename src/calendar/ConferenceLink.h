#pragma once

#include <QList>
#include <QStringList>
#include <QStringView>
#include <QUrl>

#include <optional>

namespace ondel {

struct CalendarStoreEvent;

// Finds the link that joins a call in what a calendar entry carries.
namespace ConferenceLink {

// The conference services' hosts, lower case, in the order they are tried.
const QStringList &knownHosts();

// Whether `url` is a conference link: a known host or a sub-domain of one; without a host,
// the "facetime" scheme.
bool matches(const QUrl &url);

// Every link in `text`, in text order, as a link detector finds them: http(s) links, bare
// domains ("zoom.us/j/1" reads as "http://zoom.us/j/1"), "www." names and "facetime:" links.
// E-mail addresses are not links. Linear in the text, whatever it holds.
QList<QUrl> findLinks(QStringView text);

// The first link in `text` that matches; links to other hosts (an agenda) are passed over.
std::optional<QUrl> firstConferenceURL(QStringView text);

// The event's own URL if it matches, else the first match in its location, else in its notes.
std::optional<QUrl> detect(const CalendarStoreEvent &event);

}  // namespace ConferenceLink
}  // namespace ondel
