#pragma once

#include <functional>
#include <string>

namespace Kelvar::Simulator {

/// Reads a file of resources: a JSON array of pages, each with its "@odata.id". What a machine has many of is written
/// once. In any array, an element {"@each": ROWS, "@items": [...]} stands for its items, once for each row; ROWS is
///
///     {"n": [1, 16]}                                   a variable and its first and last value
///     {"child": "{children}"}                          a variable for the elements of another one
///     [["slot", "serial"], [1, "QX0001"], [2, null]]   names of variables, then a row of values for each
///
/// Templates may be nested; the inner ones see the variables of the outer ones. In texts
///
///     "{slot}"         alone is the value itself, a number or null included; within a text it is the value's text
///     "{n*0.5+20}"     is a number: the variable times a factor plus an offset
///     "{n@time}"       is a time without zone, `n` times eleven minutes after the beginning of 2026
///
/// Members "Id" and "MemberId" are texts even so, and a member whose value is "@absent" is left out. Braces around
/// anything else stay as they are.
///
/// Calls `page` with the path, without a "/" at its end, and the text of each page. Throws std::runtime_error.
void ReadPages(const std::string& json,
               const std::function<void(const std::string& path, const std::string& text)>& page);

}  // namespace Kelvar::Simulator
