// A plug-in that is no bundle.
extern "C" {

__attribute__((visibility("default"))) int varnekTestCounter = 40;

__attribute__((visibility("default"))) int varnekTestAdd(int a, int b) {
    return a + b;
}

__attribute__((visibility("hidden"))) int varnekTestHidden() {
    return 0;
}
}

int usesHidden() {
    return varnekTestHidden();
}
