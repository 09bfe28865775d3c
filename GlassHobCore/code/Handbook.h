#pragma once

// The handbook: its pages in Markdown (the files of handbook/, which are part of the program), where it tells of a word
// of the code, and a search. Made once, on first use. Any thread.

#include <QString>
#include <QStringView>

#include <optional>
#include <vector>

namespace glasshob::handbook {

struct Page {
    QString file;  // "kinds.md"
    QString title; // "The three kinds"
    QString text;  // Markdown
};

// In the order of the contents; the contents themselves come first.
const std::vector<Page>& pages();
// -1 for a file that is no page.
int pageOf(QStringView file);

struct Heading {
    int level = 1;
    QString text;
    QString anchor; // what stands behind # in a link to it: "a-grid-of-squares"
};
std::vector<Heading> headings(const Page& page);

// A place of a page: at a heading, or where a text stands first.
struct Place {
    int page = 0;
    QString heading; // as it stands; empty: the page's beginning
    QString text;    // to be looked for behind it; may be empty
    bool operator==(const Place&) const = default;
};
// Where the handbook explains a word of the code, as "smoothstep", "u.time", "@param", "fade"; nothing when it does
// not.
std::optional<Place> placeOf(QStringView word);

struct Hit {
    Place place;
    QString excerpt; // the line, without its marks
};
// The lines that contain the text, in any case: first the function of that name, then headings. At most `most`.
std::vector<Hit> search(QStringView text, std::size_t most = 100);

// A whole shader of a page, which can be tried.
struct Example {
    QString title; // of the heading it stands under
    QString text;
};
std::vector<Example> examples(const Page& page);

// The page of the library's functions as the tables have them; the file functions.md holds the same.
QString functionsPage();

} // namespace glasshob::handbook
