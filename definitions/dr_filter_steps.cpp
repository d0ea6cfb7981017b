#include "definitions/dr_filter_steps.h"

#include "expr/dr_xp_lexer.h"
#include "expr/dr_xp_parser.h"
#include "frame/dr_str_buf.h"

namespace {

void append_literal(std::string& step, const char* literal) {
    step += " '";
    for (const char* c = literal; *c != '\0'; ++c) {
        if (*c == '\'') {
            step += '\\'; // a bare quote would end the literal when the step is parsed
        }
        step += *c;
    }
    step += '\'';
}

dr_step_filter_s finished(const std::string& text) {
    dr_step_filter_s step{text, nullptr};
    if (!text.empty()) {
        step.parsed = dri_xpath_get(text.c_str());
        if (step.parsed != nullptr && step.parsed->steps().size() != 1) {
            step.parsed = nullptr;
        }
    }
    return step;
}

} // namespace

std::vector<dr_step_filter_s> dri_cut_filter(const char* filter) {
    std::vector<dr_step_filter_s> steps;
    std::string current;
    unsigned slashes = 0;
    const char* cursor = filter;
    const char* start = nullptr;
    dr_str_buf_c text;
    for (;;) {
        switch (dri_xp_lexer_next(cursor, text, start)) {
        case XP_TOKEN_END:
            if (slashes > 0 || !current.empty()) {
                steps.push_back(finished(current));
            }
            return steps;
        case XP_TOKEN_ERROR:
            return steps;
        case XP_TOKEN_SLASH:
            if (slashes++ > 0 || !current.empty()) {
                steps.push_back(finished(current));
                current.clear();
            }
            break;
        case XP_TOKEN_LITERAL:
            append_literal(current, text);
            break;
        default:
            current += current.empty() ? "" : " ";
            current += text.c_str();
        }
    }
}
