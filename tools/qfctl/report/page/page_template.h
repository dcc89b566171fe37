#pragma once

namespace qfctl {

/// page.html.in with page.css and page.js in it. "{{name}}" marks what `RenderHtml` fills in.
extern const char PAGE_TEMPLATE[];

}  // namespace qfctl
