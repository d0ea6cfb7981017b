// SPDX-License-Identifier: BSD-2-Clause

// The one source that reads XML, with libxml2's text reader: it hands out node after node, and
// keeps no document.
#include "expr/dr_subtree.h"

#include <cassert>
#include <memory>
#include <utility>

#include <libxml/xmlreader.h>

#include "frame/dr_no_memory.h"

namespace {

constexpr char TOO_LONG[] = "Failed to parse the filter string.";
constexpr char NO_XML[] = "Failed to parse the document.";

constexpr std::string_view BLANKS = " \t\r\n";
constexpr char NETCONF[] = "urn:ietf:params:xml:ns:netconf:base:1.0";

std::string_view trimmed(std::string_view text) {
    const size_t begin = text.find_first_not_of(BLANKS);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(BLANKS) + 1 - begin);
}

// Behind the XML declaration, which may stand in front of a document but not within an element.
std::string_view without_declaration(std::string_view text) {
    constexpr std::string_view start = "<?xml";
    const bool is_there = text.starts_with(start) && text.size() > start.size() &&
                          BLANKS.find(text[start.size()]) != std::string_view::npos;
    const size_t end = is_there ? text.find("?>") : std::string_view::npos;
    return end == std::string_view::npos ? text : text.substr(end + 2);
}

std::string_view view_of(const xmlChar* text) {
    return text == nullptr ? "" : reinterpret_cast<const char*>(text);
}

// Behind the comment or CDATA section that begins at `at`; `at` when none does.
size_t end_of_section(std::string_view text, size_t at) {
    constexpr std::pair<std::string_view, std::string_view> sections[] = {
        {"<!--", "-->"}, {"<![CDATA[", "]]>"}};
    for (const auto& [begin, end] : sections) {
        if (text.substr(at).starts_with(begin)) {
            const size_t found = text.find(end, at + begin.size());
            return found == std::string_view::npos ? found : found + end.size();
        }
    }
    return at;
}

// Counts the values in the tag that begins at `at`. The tag's end.
size_t count_values(std::string_view tag, size_t at, size_t& values) {
    while ((at = tag.find_first_of("\"'>", at)) < tag.size() && tag[at] != '>') {
        ++values;
        const size_t close = tag.find(tag[at], at + 1);
        if (close == std::string_view::npos) {
            return close;
        }
        at = close + 1;
    }
    return at;
}

// The library compares an attribute with all before it in its tag, and prefixes with all that are
// declared around them, so these are counted before it reads any.
size_t count_attributes(std::string_view text) {
    size_t count = 0;
    for (size_t at = text.find('<'); at < text.size(); at = text.find('<', at)) {
        const size_t behind = end_of_section(text, at);
        at = behind == at ? count_values(text, at, count) : behind;
    }
    return count;
}

// Has the errors told to a function that libxml2 tells to no reader: those for want of memory in
// some of its parts. They are a thread's own.
class thread_errors_c {
  public:
    thread_errors_c(xmlStructuredErrorFunc note, void* data)
        : before_(xmlStructuredError), data_before_(xmlStructuredErrorContext) {
        xmlSetStructuredErrorFunc(data, note);
    }
    ~thread_errors_c() { xmlSetStructuredErrorFunc(data_before_, before_); }
    thread_errors_c(const thread_errors_c&) = delete;
    thread_errors_c& operator=(const thread_errors_c&) = delete;

  private:
    const xmlStructuredErrorFunc before_;
    void* const data_before_;
};

class subtree_reader_c {
  public:
    explicit subtree_reader_c(dr_subtree_node_s& root) : open_{&root} {}

    const char* read(const std::string& document) {
        // The bounds are this reader's own; libxml2's would come first for some of them.
        constexpr int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING |
                                XML_PARSE_NOCDATA | XML_PARSE_HUGE;
        const int size = static_cast<int>(document.size());
        const thread_errors_c errors(note_error, this);
        reader_.reset(xmlReaderForMemory(document.data(), size, nullptr, "UTF-8", options));
        if (reader_ == nullptr) {
            dri_throw_no_memory();
        }
        xmlTextReaderSetStructuredErrorHandler(reader_.get(), note_error, this);
        int status = 1;
        while (fault_ == nullptr && (status = xmlTextReaderRead(reader_.get())) == 1) {
            take_node();
        }
        if (is_out_of_memory_) {
            dri_throw_no_memory();
        }
        return status < 0 || has_error_ ? NO_XML : fault_;
    }

  private:
    struct free_s {
        void operator()(xmlTextReader* reader) const { xmlFreeTextReader(reader); }
    };

    static void note_error(void* reader, xmlErrorPtr error) {
        auto* self = static_cast<subtree_reader_c*>(reader);
        self->has_error_ = self->has_error_ || error->level >= XML_ERR_ERROR;
        self->is_out_of_memory_ =
            self->is_out_of_memory_ || error->code == XML_ERR_NO_MEMORY;
    }

    void take_node() {
        switch (xmlTextReaderNodeType(reader_.get())) {
        case XML_READER_TYPE_ELEMENT:
            open_element();
            break;
        case XML_READER_TYPE_END_ELEMENT:
            close_element();
            break;
        case XML_READER_TYPE_TEXT:
        case XML_READER_TYPE_CDATA:
            count();
            open_.back()->text += view_of(xmlTextReaderConstValue(reader_.get()));
            break;
        case XML_READER_TYPE_WHITESPACE:
        case XML_READER_TYPE_SIGNIFICANT_WHITESPACE:
        case XML_READER_TYPE_COMMENT:
            break;
        default:
            fault_ = DR_SUBTREE_NO_FILTER;
        }
    }

    void count() {
        // The element around the whole is not the filter's.
        if (++nodes_ > DR_SUBTREE_NODES_MAX + 1) {
            fault_ = DR_SUBTREE_NO_FILTER;
        }
    }

    void open_element() {
        xmlTextReader* reader = reader_.get();
        const int depth = xmlTextReaderDepth(reader);
        count();
        if (depth > DR_SUBTREE_DEPTH_MAX) {
            fault_ = DR_SUBTREE_NO_FILTER;
        }
        if (depth == 0 || fault_ != nullptr) {
            return;
        }
        dr_subtree_node_s& element = open_.back()->kids.emplace_back();
        element.name = view_of(xmlTextReaderConstLocalName(reader));
        element.xmlns = view_of(xmlTextReaderConstNamespaceUri(reader));
        const bool is_empty = xmlTextReaderIsEmptyElement(reader) != 0;
        while (xmlTextReaderMoveToNextAttribute(reader) == 1) {
            element.has_attributes =
                element.has_attributes || xmlTextReaderIsNamespaceDecl(reader) != 1;
        }
        open_.push_back(&element);
        if (is_empty) {
            close_element();
        }
    }

    void close_element() {
        dr_subtree_node_s& element = *open_.back();
        element.text = std::string(trimmed(element.text));
        if (!element.text.empty() && !element.kids.empty()) {
            fault_ = DR_SUBTREE_NO_FILTER; // an element has a text or elements
        }
        if (open_.size() > 1) { // the last one is closed with the element around the whole
            open_.pop_back();
        }
    }

    std::unique_ptr<xmlTextReader, free_s> reader_;
    // The elements that are open, innermost last. Only that one's kids grow, so the others stay
    // where they are.
    std::vector<dr_subtree_node_s*> open_;
    size_t nodes_ = 0;
    bool has_error_ = false;
    bool is_out_of_memory_ = false;
    const char* fault_ = nullptr;
};

// Makes the kids of the element "filter" those of the root.
void unwrap(dr_subtree_node_s& root) {
    const bool is_wrapped = root.kids.size() == 1 && root.kids[0].name == "filter" &&
                            (root.kids[0].xmlns.empty() || root.kids[0].xmlns == NETCONF);
    if (is_wrapped) {
        std::vector<dr_subtree_node_s> kids = std::move(root.kids[0].kids);
        root.text = std::move(root.kids[0].text);
        root.kids = std::move(kids);
    }
}

} // namespace

const char* dri_read_subtree(std::string_view text, dr_subtree_node_s& root) {
    if (text.size() > DR_SUBTREE_TEXT_MAX) {
        return TOO_LONG;
    }
    std::string document = "<f>";
    document.append(without_declaration(text)).append("</f>");
    if (count_attributes(document) > DR_SUBTREE_ATTRIBUTES_MAX) {
        return DR_SUBTREE_NO_FILTER;
    }
    if (const char* fault = subtree_reader_c(root).read(document)) {
        return fault;
    }
    unwrap(root);
    return root.text.empty() ? nullptr : DR_SUBTREE_NO_FILTER;
}
