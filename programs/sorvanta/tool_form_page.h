/// The form as a page for a browser on this machine.
#pragma once

class Target;

/// Prints the address, and serves it until the program is asked to end. Throws where it cannot be served, as
/// `sorvanta_serve_page`.
void serve_form(Target* target, int port);
