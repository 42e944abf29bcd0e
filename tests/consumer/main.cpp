#include <iostream>

#include <qx/qx.h>

int main() {
    qx::String text(u"installed");
    text.toUpper().append(u" and found");
    const qx::Reference<qx::String> copy(text.clone());
    if (copy->view() != u"INSTALLED and found") {
        std::cerr << "the library says: " << *copy << '\n';
        return 1;
    }
}
