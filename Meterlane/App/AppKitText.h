// Text between the portable layer's UTF-8 and AppKit's NSString. Objective-C++ only.
#pragma once

#import <Foundation/Foundation.h>

#include <string>
#include <string_view>

namespace gaugely {

inline NSString* nsString(std::string_view text) {
    NSString* converted = [[NSString alloc] initWithBytes:text.data()
                                                   length:text.size()
                                                 encoding:NSUTF8StringEncoding];
    return converted != nil ? converted : @"";
}

}  // namespace gaugely
