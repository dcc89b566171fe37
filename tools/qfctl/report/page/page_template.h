#pragma once

namespace qfctl {

/// page.html.in with page.css and page.js embedded. `RenderHtml` replaces each "{{name}}".
extern const char PAGE_TEMPLATE[];

}  // namespace qfctl
