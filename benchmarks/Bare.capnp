# The least that a Cap'n Proto program does for the rows of remote reads.

@0xd3a6f7b1c0425e89;

using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("bench::bare");

interface Store {
  read @0 (name :Text) -> (value :Float64);
  browse @1 () -> (settings :List(Setting));
}

struct Setting {
  name @0 :Text;
  isVisible @1 :Bool;
  isReadOnly @2 :Bool;
}
